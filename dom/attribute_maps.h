// The attributes of elements. Internal to the document model.
//
// The attributes of an element are linked in their order, and the first one also leads to the last.
// So the element needs only one pointer. In an element of many attributes, the first look-up by
// name makes an index. It finds names of equal bytes, which are the only equal ones in the "C"
// locale. In other locales, and in a map that holds a name twice, all attributes are looked at.
#ifndef QVX_DOM_ATTRIBUTE_MAPS_H
#define QVX_DOM_ATTRIBUTE_MAPS_H

#include "dom/node_records.h"

namespace qvx::dom {

/// Returns the attribute in front of `attribute` in its map, or null.
inline AttributeNode* PreviousAttribute(const AttributeNode* attribute) {
  return attribute == attribute->holder->first_attribute ? nullptr : attribute->previous;
}

/// Puts `attribute`, which is in no map and has no parent, into that of `element`, before `next`
/// (at the end when that is null).
void LinkAttribute(ElementNode* element, AttributeNode* attribute, AttributeNode* next);

/// Takes `attribute` out of its map.
void UnlinkAttribute(AttributeNode* attribute);

/// Returns the first attribute of that name in the map of `element`, or null.
AttributeNode* FindAttribute(const ElementNode* element, const DOM_String* name);

}  // namespace qvx::dom

#endif
