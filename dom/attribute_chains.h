// The ends of attribute maps. Internal to the document model.
//
// Most elements have no attributes. So the ends stand in a table of the process, and an element
// holds only a number, which takes half of the room of a pointer. The table is freed with the last
// element that has a number.
#ifndef QVX_DOM_ATTRIBUTE_CHAINS_H
#define QVX_DOM_ATTRIBUTE_CHAINS_H

#include "dom/node_records.h"

namespace qvx::dom {

/// The ends of a map that has or had attributes.
struct AttributeChain {
  ListEntry* first;
  union {
    ListEntry* last;
    uint32_t next_free;  ///< of nobody's chains; 0: none
  };
};

/// The table; numbers start at 1.
extern AttributeChain* attribute_chains;

/// The ends of the map of `element`, which has some, until an element gets its own.
inline AttributeChain& ChainOf(const ElementNode* element) {
  return attribute_chains[element->chain];
}

/// The first entry of the map of `element`, or null.
inline ListEntry* FirstAttribute(const ElementNode* element) {
  return element->chain != 0 ? ChainOf(element).first : nullptr;
}

/// Makes the ends of the map of `element`, which has none. Returns false with errno set when memory
/// ran out.
bool MakeAttributeChain(ElementNode* element);

/// Gives up those of `element`, which is about to be freed, if there are any.
void FreeAttributeChain(const ElementNode* element);

}  // namespace qvx::dom

#endif
