#include "dom/operation.h"

#include "dom/failure.h"
#include "dom/list_entries.h"
#include "dom/mutation_events.h"
#include "dom/node_record.h"
#include "dom/tree.h"

namespace qvx::dom {

size_t operations_under_way = 0;

namespace {

/// The parent of the nodes that were put aside. A handler can get at it, as the parent of a
/// destroyed node; it belongs to no document, so a tree change there is refused.
ParentNode aside;

void SetUpAside() {
  aside.nodeName = "#destroyed";
  aside.nodeType = DOM_DOCUMENT_FRAGMENT_NODE;
  aside.childNodes = &aside;
  aside.is_child_list = true;
}

void FreeAside() {
  DOM_Node* const first = aside.firstChild;
  if (first == nullptr && aside.listeners == nullptr) {
    return;
  }
  ForgetCommonParent(&aside);
  FreeListeners(&aside);
  aside = {};
  FreeNodes(first, nullptr);
}

const AttributeNode* AsAttribute(const DOM_Node* node) {
  return node->nodeType == DOM_ATTRIBUTE_NODE ? static_cast<const AttributeNode*>(node) : nullptr;
}

/// The node that `node` is a child or an attribute of, or null.
const DOM_Node* HolderOf(const DOM_Node* node) {
  const AttributeNode* const attribute = AsAttribute(node);
  const bool is_in_map = attribute != nullptr && attribute->home != nullptr;
  return is_in_map ? attribute->home->ownerElement : node->parentNode;
}

void Detach(DOM_Node* node) {
  if (const AttributeNode* const attribute = AsAttribute(node)) {
    TakeOutOfMap(attribute->home, node);
  }
  if (node->parentNode != nullptr) {
    UnlinkChild(node);
  }
}

}  // namespace

void Operation::Begin() {
  if (operations_under_way++ == 0) {
    SetUpAside();
  }
}

void Operation::End() {
  if (--operations_under_way == 0) {
    FreeAside();
  }
}

bool PutAside(DOM_Node* node) {
  if (operations_under_way == 0) {
    return false;
  }
  if (node != &aside && node->parentNode != &aside) {
    Detach(node);
    LinkChild(&aside, node, nullptr);
  }
  return true;
}

void TakeBack(DOM_Node* node) {
  if (node->parentNode == &aside) {
    UnlinkChild(node);
  }
}

bool IsDoomed(const DOM_Node* node) {
  if (aside.firstChild == nullptr) {
    return false;
  }
  while (node != nullptr && node != &aside) {
    node = HolderOf(node);
  }
  return node != nullptr;
}

DOM_Node* PlacedAmidHandlers(const TraceSite& site, DOM_Node* node) {
  if (node == nullptr || !IsDoomed(node)) {
    return node;
  }
  Detach(node);
  Fail(site, DOM_NOT_FOUND_ERR);
  return nullptr;
}

DOM_Node* Released(DOM_Node* node) {
  if (node != nullptr && IsDoomed(node)) {
    Detach(node);
  }
  return node;
}

}  // namespace qvx::dom
