#include "dom/children.h"

#include <initializer_list>

#include "dom/common_parent.h"
#include "dom/document_references.h"
#include "dom/node_records.h"
#include "dom/places.h"
#include "support/chain.h"

const uint16_t child_matrix[12] = {
    0x00DD,  // element: element, text, CDATA section, entity reference, processing instruction,
             // comment
    0x0014,  // attribute: text, entity reference
    0,       // text
    0,       // CDATA section
    0x00DD,  // entity reference: as element
    0x00DD,  // entity: as element
    0,       // processing instruction
    0,       // comment
    0x02C1,  // document: element, processing instruction, comment, document type
    0x0820,  // document type: entity, notation
    0x00DD,  // fragment: as element
    0,       // notation
};

namespace qvx::dom {
namespace {

bool TypesFit(const DOM_Node* parent, const DOM_Node* child) {
  constexpr uint16_t kTypes = 12;
  if (parent->nodeType == 0 || parent->nodeType > kTypes || child->nodeType == 0 ||
      child->nodeType > kTypes) {
    return false;
  }
  return (child_matrix[parent->nodeType - 1] >> (child->nodeType - 1) & 1) != 0;
}

bool HasOtherDoctype(const DOM_Node* document, const DOM_Node* doctype, const DOM_Node* replaced) {
  for (const DOM_Node* child = document->firstChild; child != nullptr; child = child->nextSibling) {
    if (child->nodeType == DOM_DOCUMENT_TYPE_NODE && child != doctype && child != replaced) {
      return true;
    }
  }
  return false;
}

bool DocumentHasRoom(const DOM_Node* document, const DOM_Node* child, const DOM_Node* replaced) {
  if (child->nodeType == DOM_ELEMENT_NODE) {
    return static_cast<const DocumentNode*>(document)->documentElement == nullptr;
  }
  return child->nodeType != DOM_DOCUMENT_TYPE_NODE || !HasOtherDoctype(document, child, replaced);
}

bool IsSameOrAncestor(const DOM_Node* candidate, const DOM_Node* node) {
  // A node without children is nobody's ancestor. So a fresh node costs no walk up to the root.
  if (candidate->firstChild == nullptr) {
    return candidate == node;
  }
  for (; node != nullptr; node = node->parentNode) {
    if (node == candidate) {
      return true;
    }
  }
  return false;
}

using Children = Chain<DOM_Node, &DOM_Node::previousSibling, &DOM_Node::nextSibling>;

/// Keeps the views of `parent` in step with a declaration that came or went.
void CountDeclaration(DOM_Node* parent, const DOM_Node* declaration, int change) {
  auto* const doctype = static_cast<DocumentTypeNode*>(parent);
  for (ViewList* view : {&doctype->entity_view, &doctype->notation_view}) {
    ForgetPlace(view);
    if (view->filter == declaration->nodeType) {
      view->length += static_cast<uint32_t>(change);
    }
  }
}

void SetChildren(DOM_Node* parent, const Children& children) {
  parent->firstChild = children.first;
  parent->lastChild = children.last;
}

}  // namespace

bool MayHold(const DOM_Node* parent, const DOM_Node* child, const DOM_Node* replaced) {
  if (!TypesFit(parent, child)) {
    return false;
  }
  if (parent->nodeType == DOM_DOCUMENT_NODE && !DocumentHasRoom(parent, child, replaced)) {
    return false;
  }
  return !IsSameOrAncestor(child, parent);
}

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
    CountDeclaration(parent, node, 1);
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
    CountDeclaration(parent, node, -1);
  }
}

}  // namespace qvx::dom
