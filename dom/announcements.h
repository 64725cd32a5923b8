// What the operations announce: mutation events. Internal to the document model.
//
// As long as no listener of its type is registered at the target or above it, nobody can see an
// event, so none is dispatched and a change costs nothing but its bookkeeping. Where there are
// listeners, they may change the tree, the attributes and the texts while an operation is under
// way. So the operations look again at the tree after each announcement, what handlers destroy
// stays until the outermost operation has ended (operation.h), and what handlers could change of
// the texts of an event are copies of its own.
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

/// DOMAttrModified at `element` for an attribute whose value was `previous` until now, which this
/// releases. An operation is under way: it keeps `attribute`, which handlers may have destroyed.
void AnnounceAttributeValue(DOM_Element* element, DOM_Attr* attribute, DOM_String* previous);

/// DOMCharacterDataModified at `node`, whose data was `previous` (may be null) until now, which
/// this releases. An operation is under way.
void AnnounceData(DOM_CharacterData* node, DOM_String* previous);

}  // namespace qvx::dom

#endif
