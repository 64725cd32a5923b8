#include "dom/operation.h"

#include "dom/aside.h"
#include "dom/attribute_maps.h"
#include "dom/common_parent.h"
#include "dom/failure.h"
#include "dom/freeing.h"
#include "dom/linking.h"
#include "dom/node_records.h"
#include "dom/places.h"

namespace qvx::dom {

size_t operations_under_way = 0;

namespace {

void FreeAside() {
  DOM_Node* const first = aside.firstChild;
  if (first == nullptr && !HasListeners(&aside)) {
    return;
  }
  ForgetCommonParent(&aside);
  FreeListeners(&aside);
  ForgetPlace(&aside);
  aside = {};
  FreeNodes(first, nullptr);
}

/// The node that `node` is a child or an attribute of, or null.
const DOM_Node* HolderOf(const DOM_Node* node) {
  if (node->nodeType == DOM_ATTRIBUTE_NODE) {
    const ElementNode* const holder = static_cast<const AttributeNode*>(node)->holder;
    return holder != nullptr ? holder : node->parentNode;
  }
  return node->parentNode;
}

void Detach(DOM_Node* node) {
  if (node->nodeType == DOM_ATTRIBUTE_NODE) {
    auto* attribute = static_cast<AttributeNode*>(node);
    if (attribute->holder != nullptr) {
      UnlinkAttribute(attribute);
    }
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

bool IsDoomed(const DOM_Node* node) {
  if (aside.firstChild == nullptr) {
    return false;
  }
  // An attribute may hold, by way of an entity reference, the element that it belongs to. The way
  // up is a ring then, in which a walk at half the pace is caught up with.
  const DOM_Node* slow = node;
  for (bool moves = false; node != nullptr && node != &aside; moves = !moves) {
    node = HolderOf(node);
    slow = moves ? HolderOf(slow) : slow;
    if (node == slow) {
      return false;
    }
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
