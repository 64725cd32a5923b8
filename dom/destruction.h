// Who may free what, and when. Internal to the document model; dom.h declares
// DOM_Document_destroyNode.
//
// The owner of a node may free it at any time, with all that it owns, by destroying it. But while
// an operation is under way that handlers may hear of, some outer operation may still work on the
// node: a handler may merge texts, remove an attribute, move a fragment to a place where not all of
// it fits, or destroy a node itself. So a node that is destroyed then only leaves its place and
// waits: it becomes a child of a fragment outside all trees and without a document, which a handler
// can reach as its parent. Nodes may be taken out of that fragment, but none be put into it. A node
// that is put into a tree again lives on. Those that still wait when the outermost operation ends
// are freed.
#ifndef QVX_DOM_DESTRUCTION_H
#define QVX_DOM_DESTRUCTION_H

#include "dom/listeners.h"
#include "dom/model_state.h"
#include "support/trace.h"

namespace qvx::dom {

/// An operation that dispatches events, from before it looks at any node until it has touched the
/// last one.
class Operation {
 public:
  Operation() : is_counted_(MayBeHeard()) {
    if (is_counted_) {
      Begin();
    }
  }
  ~Operation() {
    if (is_counted_) {
      End();
    }
  }
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;
  Operation(Operation&&) = delete;
  Operation& operator=(Operation&&) = delete;

 private:
  static void Begin();
  static void End();

  bool is_counted_;  // an operation that nobody can hear costs nothing more
};

/// Returns whether `node` will be freed, itself or with the node that it belongs to, when the
/// outermost operation ends.
bool IsDoomed(const DOM_Node* node);

/// Lets `node` wait no longer, if it is itself a node that waits. It then belongs to nobody.
void TakeBack(DOM_Node* node);

/// Returns the result of an operation that put `node` into a tree: `node`, or null when it is null
/// or doomed. For a doomed node it records DOM_NOT_FOUND_ERR and takes it out of its place. As
/// after any other failure, the node belongs to the caller again.
DOM_Node* PlacedAmidHandlers(const TraceSite& site, DOM_Node* node);
inline DOM_Node* Placed(const TraceSite& site, DOM_Node* node) {
  return Model().operations_under_way == 0 ? node : PlacedAmidHandlers(site, node);
}

/// Returns `node`, which an operation took out of a tree. A doomed node, too, is detached and
/// belongs to the caller.
DOM_Node* Released(DOM_Node* node);

}  // namespace qvx::dom

#endif
