// Tree changes for the operations of the document model themselves.
#ifndef QVX_DOM_MUTATION_H
#define QVX_DOM_MUTATION_H

#include "dom/dom.h"

namespace qvx::dom {

/// As DOM_Node_insertBefore, but a node that was inserted is returned also when a handler has
/// destroyed it since. For use within an Operation.
DOM_Node* InsertBefore(DOM_Node* parent, DOM_Node* new_child, DOM_Node* reference);

}  // namespace qvx::dom

#endif
