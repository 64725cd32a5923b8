// The nodes that were destroyed while handlers run, and wait for their end. Internal to the
// document model.
//
// They are the children of a fragment that has no document. A handler can reach that fragment as
// the parent of a destroyed node. It may take nodes out of it, but put none into it.
#ifndef QVX_DOM_ASIDE_H
#define QVX_DOM_ASIDE_H

#include "dom/node_records.h"

namespace qvx::dom {

extern ParentNode aside;

/// Makes an empty fragment of `aside`, which is zero-filled.
void SetUpAside();

/// Takes `node` back if it is itself a child of the fragment. It then belongs to nobody.
void TakeBack(DOM_Node* node);

}  // namespace qvx::dom

#endif
