// Finding an attribute by its name in an element of many. Internal to the document model.
//
// The first look-up by name makes the index of such a map, and the map's last attribute but a few
// takes it along. It knows names of equal bytes, so it is asked in the "C" locale alone, where no
// others are equal, and of a map without equal names: in any other case the map is searched.
#ifndef QVX_DOM_ATTRIBUTE_INDEX_H
#define QVX_DOM_ATTRIBUTE_INDEX_H

#include "dom/node_records.h"

namespace qvx::dom {

struct AttributeIndex;

/// So many attributes an element has before there is an index.
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
