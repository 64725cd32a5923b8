// What holds for every tree after every operation, and the nodes that no public operation makes.
#ifndef QVX_TESTS_DOM_INVARIANTS_H
#define QVX_TESTS_DOM_INVARIANTS_H

#include <cstring>
#include <string>
#include <vector>

#include "dom/dom.h"

namespace qvx::test {

/// The children of a node as the sibling chain has them.
inline std::vector<const DOM_Node*> Chain(const DOM_Node* parent) {
  std::vector<const DOM_Node*> nodes;
  for (const DOM_Node* node = parent->firstChild; node != nullptr; node = node->nextSibling) {
    nodes.push_back(node);
  }
  return nodes;
}

/// What is wrong with the children of one node; empty: nothing.
inline std::string ViolationAt(DOM_Node* parent) {
  NodeList* const list = parent->childNodes;
  const std::vector<const DOM_Node*> nodes = Chain(parent);
  const DOM_Node* previous = nullptr;
  std::vector<const DOM_Node*> last_of_type(13);
  for (const DOM_Node* node : nodes) {
    if (node->parentNode != parent || node->previousSibling != previous) {
      return "link";
    }
    previous = last_of_type[node->nodeType] = node;
  }
  // From the middle on, where the walk before this one left the list's cursor.
  for (size_t i = 0; i < nodes.size(); ++i) {
    const size_t index = (i + nodes.size() / 2) % nodes.size();
    if (DOM_NodeList_item(list, static_cast<int32_t>(index)) != nodes[index]) {
      return "item";
    }
  }
  if (parent->lastChild != previous ||
      (list != nullptr && (list->length != nodes.size() || list->first != parent->firstChild ||
                           list->last != previous))) {
    return "ends";
  }
  const bool is_document = parent->nodeType == DOM_DOCUMENT_NODE;
  return is_document &&
                 (DOM_Document_getDocumentElement(parent) != last_of_type[DOM_ELEMENT_NODE] ||
                  DOM_Document_getDoctype(parent) != last_of_type[DOM_DOCUMENT_TYPE_NODE])
             ? "field"
             : "";
}

/// What is wrong with a tree, at the first node where something is.
inline std::string Violation(DOM_Node* root) {
  std::string violation = root->parentNode != nullptr || root->previousSibling != nullptr ||
                                  root->nextSibling != nullptr
                              ? "root"
                              : "";
  for (DOM_Node* node = root; node != nullptr && violation.empty();) {
    violation = ViolationAt(node);
    DOM_Node* next = node->firstChild;
    for (; next == nullptr && node != root; node = node->parentNode) {
      next = node->nextSibling;
    }
    node = next;
  }
  return violation;
}

/// An entity or notation without ids; `value` may be null.
inline DOM_Node* Declaration(DOM_Document* document, uint16_t type, const char* name,
                             const char* value = nullptr) {
  DOM_Node* const node = Document_createNode(document, type);
  node->nodeName = strdup(name);
  node->nodeValue = value == nullptr ? nullptr : strdup(value);
  return node;
}

}  // namespace qvx::test

#endif
