// Who may be whose child, and linking nodes into a tree and out of it. Internal to the document
// model; nothing here dispatches events.
#ifndef QVX_DOM_CHILDREN_H
#define QVX_DOM_CHILDREN_H

#include "dom/dom.h"

namespace qvx::dom {

/// Returns whether the hierarchy rules let `child` become a child of `parent`: the types fit, a
/// document gets no second element or document type, and no cycle arises. `replaced` (may be null)
/// is the child that makes way. It may make way for another document type, but not for another
/// element.
bool MayHold(const DOM_Node* parent, const DOM_Node* child, const DOM_Node* replaced = nullptr);

/// Links `node`, which is in no child chain, under `parent` before `reference` (at the end when
/// that is null). The parent's list and ends, a document's documentElement and doctype, and a
/// document type's views follow. A document type then belongs to the document. Nothing is checked.
void LinkChild(DOM_Node* parent, DOM_Node* node, DOM_Node* reference);

/// As LinkChild, for a node that was just made, at the end of `element`, where it fits.
inline void LinkFresh(DOM_Element* element, DOM_Node* node) {
  DOM_Node* const last = element->lastChild;
  if (last != nullptr) {
    last->nextSibling = node;
  } else {
    element->firstChild = node;
  }
  node->previousSibling = last;
  node->parentNode = element;
  element->lastChild = node;
  ++element->childNodes->length;
}

/// Unlinks `node` from its parent; the same fields follow. A document type then belongs to no
/// document.
void UnlinkChild(DOM_Node* node);

}  // namespace qvx::dom

#endif
