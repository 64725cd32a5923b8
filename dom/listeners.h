// The listeners of nodes. Internal to the document model; dom.h declares the public operations.
//
// A node keeps an array of slots, each empty or a listener. Slots are never given up, only reused,
// so a handler may add and remove listeners, its own included, while a dispatch walks over them.
// Few nodes ever have listeners, so the arrays are found by way of a table of the process, and a
// node holds only a bit that tells whether it has one.
#ifndef QVX_DOM_LISTENERS_H
#define QVX_DOM_LISTENERS_H

#include <cstddef>

#include "dom/node_records.h"

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

/// What a node has that has or had listeners.
struct NodeListeners {
  const DOM_Node* node;
  DOM_ListenerEntry** slots;
  uint32_t count;  ///< of slots
};

inline bool HasListeners(const DOM_Node* node) {
  return static_cast<const NodeRecord*>(node)->has_listeners != 0;
}

/// What `node` has, until it is freed; null when it never had a listener.
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

}  // namespace qvx::dom

#endif
