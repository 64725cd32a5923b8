// Destruction while handlers run. Internal to the document model.
//
// A handler may destroy nodes that an outer operation still works on: it may merge texts, remove an
// attribute, move a fragment to a place where not all of it fits, or call DOM_Document_destroyNode.
// So while an operation is under way that handlers may hear of, a destroyed node is only put aside:
// it leaves its place for a parent outside all trees. If it is put into a tree again, it leaves
// that parent and lives on. The nodes that are aside when the outermost operation ends are freed.
#ifndef QVX_DOM_OPERATION_H
#define QVX_DOM_OPERATION_H

#include <cstddef>

#include "dom/dom.h"
#include "dom/listeners.h"
#include "support/trace.h"

namespace qvx::dom {

/// The depth of nested operations that handlers may hear of.
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

/// Takes `node` out of its place and puts it aside. When no operation is under way, does nothing
/// and returns false: the node can be freed.
bool PutAside(DOM_Node* node);

/// Whether `node` will be freed, itself or with the node that it belongs to, when the outermost
/// operation ends.
bool IsDoomed(const DOM_Node* node);

/// Returns the result of an operation that put `node` into a tree: `node`, or null when it is null
/// or doomed. For a doomed node it records DOM_NOT_FOUND_ERR and takes it out of its place. As
/// after any other failure, the node belongs to the caller again.
DOM_Node* PlacedAmidHandlers(const TraceSite& site, DOM_Node* node);
inline DOM_Node* Placed(const TraceSite& site, DOM_Node* node) {
  return operations_under_way == 0 ? node : PlacedAmidHandlers(site, node);
}

/// Returns `node`, which an operation took out of a tree. A doomed node, too, is detached and
/// belongs to the caller.
DOM_Node* Released(DOM_Node* node);

}  // namespace qvx::dom

#endif
