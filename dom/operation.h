// Destruction while handlers run. Internal to the document model.
//
// A handler may do what destroys nodes that an operation further out still works on: merge texts,
// remove an attribute, move a fragment to where not all of it fits, or call
// DOM_Document_destroyNode. So as long as an operation is under way that handlers may hear of, a
// node that is to be destroyed is only taken out of its place and put aside, under a parent of its
// own outside all trees. One that is put into a tree again leaves that parent and lives on. What is
// there when the outermost operation has ended is freed.
#ifndef QVX_DOM_OPERATION_H
#define QVX_DOM_OPERATION_H

#include <cstddef>

#include "dom/dom.h"
#include "dom/listeners.h"
#include "support/trace.h"

namespace qvx::dom {

/// The operations that handlers may hear of, one within the other.
extern size_t operations_under_way;

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

/// Takes `node` out of its place and puts it aside. Returns false when no operation is under way:
/// nothing is done then, and the node can be freed.
bool PutAside(DOM_Node* node);

/// Whether `node` will be freed, itself or with the node that it belongs to, when the outermost
/// operation ends.
bool IsDoomed(const DOM_Node* node);

/// What an operation returns for a node that it put into a tree: `node`, or null when it is null or
/// doomed. A doomed one is recorded (DOM_NOT_FOUND_ERR), taken out of where it is and, as after any
/// other failure, the caller's again.
DOM_Node* PlacedAmidHandlers(const TraceSite& site, DOM_Node* node);
inline DOM_Node* Placed(const TraceSite& site, DOM_Node* node) {
  return operations_under_way == 0 ? node : PlacedAmidHandlers(site, node);
}

/// What an operation returns for a node that it took out of a tree: `node` itself, also when it was
/// doomed, detached and the caller's.
DOM_Node* Released(DOM_Node* node);

}  // namespace qvx::dom

#endif
