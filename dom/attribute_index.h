// Finding an attribute by its name in an element of many. Internal to the document model.
//
// The first look-up by name makes the index of such a map. The index goes when the map has few
// attributes again. It finds names of equal bytes, which are the only equal ones in the "C" locale.
// In other locales, and in a map that holds a name twice, the map is searched.
#ifndef QVX_DOM_ATTRIBUTE_INDEX_H
#define QVX_DOM_ATTRIBUTE_INDEX_H

#include "dom/node_records.h"

namespace qvx::dom {

struct AttributeIndex;

/// The number of attributes from which on an element has an index.
inline constexpr uint32_t kManyAttributes = 16;

/// The index of an element with many attributes, made if there is none; null when the map has to be
/// searched.
const AttributeIndex* IndexFor(const ElementNode* element);

/// The attribute of that name, or null.
AttributeNode* FindByIndex(const AttributeIndex* index, const DOM_String* name);

/// Keep the index, if the map of `element` has one, in step with an attribute that came, or that is
/// about to go. The map has many.
void IndexAttribute(const ElementNode* element, AttributeNode* attribute);
void UnindexAttribute(const ElementNode* element, const AttributeNode* attribute);

}  // namespace qvx::dom

#endif
