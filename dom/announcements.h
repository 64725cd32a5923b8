// What the operations announce: mutation events. Internal to the document model.
//
// An event is dispatched only if a listener of its type is registered at the target or above it.
// Otherwise a change costs only its bookkeeping. Listeners may change the tree, the attributes and
// the texts while an operation is under way. So the operations look at the tree again after each
// announcement. A node that a handler destroys stays until the outermost operation has ended
// (destruction.h). Texts that a handler could change are copied for the event.
#ifndef QVX_DOM_ANNOUNCEMENTS_H
#define QVX_DOM_ANNOUNCEMENTS_H

#include "dom/dom.h"
#include "dom/listeners.h"

namespace qvx::dom {

/// DOMNodeInserted at `node`, then DOMNodeInsertedIntoDocument over its subtree in preorder.
void DispatchInsertion(DOM_Node* parent, DOM_Node* node);
inline void AnnounceInsertion(DOM_Node* parent, DOM_Node* node) {
  if (MayBeHeard()) {
    DispatchInsertion(parent, node);
  }
}

/// DOMNodeRemoved at `node`, then DOMNodeRemovedFromDocument over its subtree in postorder.
/// Handlers may already have removed `node` from `parent` when this returns.
void DispatchRemoval(DOM_Node* parent, DOM_Node* node);
inline void AnnounceRemoval(DOM_Node* parent, DOM_Node* node) {
  if (MayBeHeard()) {
    DispatchRemoval(parent, node);
  }
}

/// DOMAttrModified at `element` for an attribute that came (DOM_ATTR_ADDITION) or went
/// (DOM_ATTR_REMOVAL).
void DispatchAttribute(DOM_Element* element, DOM_Attr* attribute, uint16_t change);
inline void AnnounceAttribute(DOM_Element* element, DOM_Attr* attribute, uint16_t change) {
  if (MayBeHeard()) {
    DispatchAttribute(element, attribute, change);
  }
}

/// DOMAttrModified at `element` for an attribute whose value was `previous` until now. Releases
/// `previous`. An operation must be under way, because handlers may destroy `attribute`.
void AnnounceAttributeValue(DOM_Element* element, DOM_Attr* attribute, DOM_String* previous);

/// DOMCharacterDataModified at `node`, whose data was `previous` (may be null) until now. Releases
/// `previous`. An operation must be under way.
void AnnounceData(DOM_CharacterData* node, DOM_String* previous);

}  // namespace qvx::dom

#endif
