// Walks over a subtree without a stack. Internal to the document model.
//
// If the present node of a walk is moved out of the subtree, the walk ends at the root above it.
#ifndef QVX_DOM_WALKS_H
#define QVX_DOM_WALKS_H

#include "dom/dom.h"

namespace qvx::dom {

/// Returns the node after `node` in a preorder walk over the subtree of `root`, or null at its end.
DOM_Node* NextInPreorder(const DOM_Node* root, DOM_Node* node);

/// As NextInPreorder, without the descendants of `node`.
DOM_Node* NextAfterSubtree(const DOM_Node* root, DOM_Node* node);

/// Return the first node of a postorder walk over the subtree of `root`, and the one after `node`
/// (null after `root` itself).
DOM_Node* FirstInPostorder(DOM_Node* root);
DOM_Node* NextInPostorder(const DOM_Node* root, DOM_Node* node);

/// Returns whether `node` (may be null) is `root` or one of its descendants.
bool IsWithin(const DOM_Node* root, const DOM_Node* node);

}  // namespace qvx::dom

#endif
