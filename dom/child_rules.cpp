#include "dom/child_rules.h"

#include "dom/node_records.h"

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

}  // namespace qvx::dom
