// What the tree operations announce: mutation events and the subtree-modified bookkeeping. Internal
// to the document model.
//
// As long as no listener is registered, nobody can see an event, so none is dispatched and a change
// costs nothing but its bookkeeping. Where there are listeners, they may change the tree, the
// attributes and the texts while an operation is under way. So the operations look again at the
// tree after each announcement, what handlers destroy stays until the outermost operation has ended
// (operation.h), and the texts of an event are copies of its own.
#ifndef QVX_DOM_MUTATION_EVENTS_H
#define QVX_DOM_MUTATION_EVENTS_H

#include <cstddef>

#include "dom/dom.h"

namespace qvx::dom {

/// The listeners of all nodes of the process.
extern size_t registered_listeners;

/// Whether an event could reach a listener. The launcher never registers one, so it pays for no
/// event at all. Where there is one anywhere, every event is dispatched: whether it is above some
/// node costs a walk to find out, like the dispatch itself. What an operation must know after its
/// first event it asks before: a handler may remove the last one.
inline bool MayBeHeard() {
  return registered_listeners != 0;
}

/// What the subtree-modified bookkeeping has to know before `node` leaves its parent.
void ForgetPath(DOM_Node* node);

/// What the bookkeeping has to know before `node` is freed: a document's commonParent is never a
/// node that is gone.
void ForgetCommonParent(const DOM_Node* node);

/// DOMNodeInserted at `node`, then DOMNodeInsertedIntoDocument over its subtree in preorder.
void AnnounceInsertion(DOM_Node* parent, DOM_Node* node);

/// DOMNodeRemoved at `node`, then DOMNodeRemovedFromDocument over its subtree in postorder.
/// Handlers may already have removed `node` from `parent` when this returns.
void AnnounceRemoval(DOM_Node* parent, DOM_Node* node);

/// DOMAttrModified at `element` for an attribute that came (DOM_ATTR_ADDITION) or went
/// (DOM_ATTR_REMOVAL).
void AnnounceAttribute(DOM_Element* element, DOM_Attr* attribute, uint16_t change);

/// DOMAttrModified at `element` for an attribute whose value was `previous` until now, which this
/// releases: `attribute` itself may be gone when it returns.
void AnnounceAttributeValue(DOM_Element* element, DOM_Attr* attribute, DOM_String* previous);

/// DOMCharacterDataModified at `node`, whose data was `previous` (may be null) until now, which
/// this releases.
void AnnounceData(DOM_CharacterData* node, DOM_String* previous);

}  // namespace qvx::dom

#endif
