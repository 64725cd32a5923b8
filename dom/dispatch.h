// The listeners that an event would reach. Internal to the document model; dom.h declares the
// dispatch.
#ifndef QVX_DOM_DISPATCH_H
#define QVX_DOM_DISPATCH_H

#include "dom/listeners.h"

namespace qvx::dom {

/// Whether an event of `type` at `target` could reach a listener of `target` or of a node above it.
/// When it could not, no handler runs, and nobody sees whether it is dispatched.
bool IsAwaitedAbove(const DOM_Node* target, EventType type);
inline bool IsAwaited(const DOM_Node* target, EventType type) {
  return MayBeHeard(type) && IsAwaitedAbove(target, type);
}

}  // namespace qvx::dom

#endif
