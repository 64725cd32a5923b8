// Where nodes wait that were destroyed while handlers run. Internal to the document model.
//
// They are the children of a fragment of no document. A handler can get at it, as the parent of a
// destroyed node; a tree change there is refused.
#ifndef QVX_DOM_ASIDE_H
#define QVX_DOM_ASIDE_H

#include "dom/node_records.h"

namespace qvx::dom {

extern ParentNode aside;

/// Makes an empty fragment of `aside`, which is zero-filled.
void SetUpAside();

/// Takes `node` back when it was put aside, itself and not by way of a parent: it is nobody's then.
void TakeBack(DOM_Node* node);

}  // namespace qvx::dom

#endif
