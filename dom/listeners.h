// The listeners of nodes. Internal to the document model; dom.h declares the public operations.
//
// A node keeps an array of slots, each empty or a listener. Slots are never given up, only reused,
// so a handler may add and remove listeners, its own included, while a dispatch walks over them.
#ifndef QVX_DOM_LISTENERS_H
#define QVX_DOM_LISTENERS_H

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

/// Frees the listeners of `node` and their array.
void FreeListeners(DOM_Node* node);

}  // namespace qvx::dom

#endif
