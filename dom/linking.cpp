#include "dom/linking.h"

#include "dom/common_parent.h"
#include "dom/document_references.h"
#include "dom/node_records.h"
#include "dom/places.h"
#include "support/chain.h"

namespace qvx::dom {
namespace {

using Children = Chain<DOM_Node, &DOM_Node::previousSibling, &DOM_Node::nextSibling>;

enum class Change { kCame, kWent };

void KeepViewInStep(ViewList* view, const DOM_Node* declaration, Change change) {
  ForgetPlace(view);
  if (view->filter == declaration->nodeType) {
    view->length = change == Change::kCame ? view->length + 1 : view->length - 1;
  }
}

void KeepViewsInStep(DOM_Node* parent, const DOM_Node* declaration, Change change) {
  auto* doctype = static_cast<DocumentTypeNode*>(parent);
  KeepViewInStep(static_cast<EntityView*>(doctype), declaration, change);
  KeepViewInStep(static_cast<NotationView*>(doctype), declaration, change);
}

void SetChildren(DOM_Node* parent, const Children& children) {
  parent->firstChild = children.first;
  parent->lastChild = children.last;
}

}  // namespace

void LinkChild(DOM_Node* parent, DOM_Node* node, DOM_Node* reference) {
  Children children{parent->firstChild, parent->lastChild};
  children.Insert(node, reference);
  MovePlaceOnInsertion(RecordOf(parent->childNodes), node, node->previousSibling, reference);
  node->parentNode = parent;
  SetChildren(parent, children);
  ++parent->childNodes->length;

  if (parent->nodeType == DOM_DOCUMENT_NODE) {
    NameChild(parent, node);
  }
  if (parent->nodeType == DOM_DOCUMENT_TYPE_NODE) {
    KeepViewsInStep(parent, node, Change::kCame);
  }
}

void UnlinkChild(DOM_Node* node) {
  DOM_Node* const parent = node->parentNode;
  MovePlaceOnRemoval(RecordOf(parent->childNodes), node, node->previousSibling, node->nextSibling);
  ForgetPath(node);
  Children children{parent->firstChild, parent->lastChild};
  children.Remove(node);
  node->parentNode = nullptr;
  SetChildren(parent, children);
  --parent->childNodes->length;

  if (parent->nodeType == DOM_DOCUMENT_NODE) {
    UnnameChild(parent, node);
  }
  if (parent->nodeType == DOM_DOCUMENT_TYPE_NODE) {
    KeepViewsInStep(parent, node, Change::kWent);
  }
}

}  // namespace qvx::dom
