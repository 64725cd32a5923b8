// Debugging dumps.
#include <cstdio>

#include "dom/dom.h"
#include "dom/failure.h"
#include "dom/node_records.h"

using namespace qvx::dom;

namespace {

const char* NameOf(const DOM_Node* node) {
  return node != nullptr ? Shown(node->nodeName) : "(null)";
}

unsigned LengthOf(const NodeList* list) {
  return list != nullptr ? list->length : 0;
}

const char* TypeNameOf(const DOM_Node* node) {
  return node->nodeType <= DOM_NOTATION_NODE ? node_names[node->nodeType] : node_names[0];
}

void PrintAttributes(const ElementNode* element) {
  const char* separator = "    ";
  for (const AttributeNode* attribute = element->first_attribute; attribute != nullptr;
       attribute = attribute->next) {
    std::printf("%s%s=%s", separator, NameOf(attribute), Shown(attribute->nodeValue));
    separator = ",";
  }
  std::printf("\n");
}

void PrintLine(const DOM_Node* node, int level) {
  constexpr int kIndent = 4;
  std::printf("%*s%s: %s=%s\n", level * kIndent, "", TypeNameOf(node), NameOf(node),
              Shown(node->nodeValue));
  if (LengthOf(node->attributes) != 0) {
    PrintAttributes(static_cast<const ElementNode*>(node));
  }
}

}  // namespace

void DOM_Node_printNode(const DOM_Node* node) {
  if (node == nullptr) {
    std::printf("node was null");
    std::fflush(stdout);
    return;
  }
  std::printf("\nnodeName=%s,nodeValue=%s,", NameOf(node), Shown(node->nodeValue));
  std::printf("\n\ttype=%u", unsigned{node->nodeType});
  std::printf(",parentNode->nodeName=%s,firstChild->nodeName=%s", NameOf(node->parentNode),
              NameOf(node->firstChild));
  std::printf(",lastChild->nodeName=%s,\n\tchildNodes->length=%u", NameOf(node->lastChild),
              LengthOf(node->childNodes));
  std::printf(",previousSibling->nodeName=%s,nextSibling->nodeName=%s,attributes->length=%u\n",
              NameOf(node->previousSibling), NameOf(node->nextSibling), LengthOf(node->attributes));
  std::fflush(stdout);
}

void DOM_Node_printNode2(const DOM_Node* node) {
  std::printf("\n");
  const DOM_Node* const root = node;
  int level = 0;
  while (node != nullptr) {
    PrintLine(node, level);
    if (node->firstChild != nullptr) {
      node = node->firstChild;
      ++level;
      continue;
    }
    while (node != root && node->nextSibling == nullptr) {
      node = node->parentNode;
      --level;
    }
    node = node != root ? node->nextSibling : nullptr;
  }
  std::fflush(stdout);
}
