// The listeners of nodes. Internal to the document model; dom.h declares the public operations.
//
// A node keeps slots, each empty or a listener. Slots are never given up, only reused, so a handler
// may add and remove listeners, its own included, while a dispatch walks over them. A bit in a node
// tells whether it has slots.
#ifndef QVX_DOM_LISTENERS_H
#define QVX_DOM_LISTENERS_H

#include "dom/model_state.h"

namespace qvx::dom {

/// The names of the types.
extern const DOM_String* const event_type_names[kOtherType];

/// Returns whether there is a listener anywhere. The launcher never registers one, so it pays for
/// no event. An operation asks before its first event, because a handler may remove the last
/// listener.
inline bool MayBeHeard() {
  return Model().registered_listeners.all != 0;
}

/// Returns whether there is a listener of `type` anywhere.
inline bool MayBeHeard(EventType type) {
  return Model().registered_listeners.of_type[type] != 0;
}

inline bool HasListeners(const DOM_Node* node) {
  return static_cast<const NodeRecord*>(node)->has_listeners != 0;
}

/// Returns the listeners of `node`, until it is freed; null when it never had one.
NodeListeners* FindListeners(const DOM_Node* node);
inline NodeListeners* ListenersOf(const DOM_Node* node) {
  return HasListeners(node) ? FindListeners(node) : nullptr;
}

/// Frees the listeners of `node`, which is about to be freed, and their array.
void FreeListenersOf(const DOM_Node* node);
inline void FreeListeners(const DOM_Node* node) {
  if (HasListeners(node)) {
    FreeListenersOf(node);
  }
}

/// Returns whether an event of `type` at `target` could reach a listener of `target` or of a node
/// above it. When it could not, no handler runs, and nobody sees whether it is dispatched.
bool IsAwaitedAbove(const DOM_Node* target, EventType type);
inline bool IsAwaited(const DOM_Node* target, EventType type) {
  return MayBeHeard(type) && IsAwaitedAbove(target, type);
}

}  // namespace qvx::dom

#endif
