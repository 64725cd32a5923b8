#include "dom/walks.h"

namespace qvx::dom {

DOM_Node* NextAfterSubtree(const DOM_Node* root, DOM_Node* node) {
  while (node != nullptr && node != root) {
    if (node->nextSibling != nullptr) {
      return node->nextSibling;
    }
    node = node->parentNode;
  }
  return nullptr;
}

DOM_Node* NextInPreorder(const DOM_Node* root, DOM_Node* node) {
  return node->firstChild != nullptr ? node->firstChild : NextAfterSubtree(root, node);
}

DOM_Node* FirstInPostorder(DOM_Node* root) {
  while (root->firstChild != nullptr) {
    root = root->firstChild;
  }
  return root;
}

DOM_Node* NextInPostorder(const DOM_Node* root, DOM_Node* node) {
  if (node == root) {
    return nullptr;
  }
  return node->nextSibling != nullptr ? FirstInPostorder(node->nextSibling) : node->parentNode;
}

bool IsWithin(const DOM_Node* root, const DOM_Node* node) {
  while (node != nullptr && node != root) {
    node = node->parentNode;
  }
  return node != nullptr;
}

}  // namespace qvx::dom
