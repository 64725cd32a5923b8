#include <cstring>

#include "dom/dom.h"
#include "dom/failure.h"
#include "dom/node_record.h"
#include "dom/operation.h"
#include "dom/tree.h"
#include "support/mbs.h"

using namespace qvx::dom;

const char* const node_names[13] = {"No such node type",      "DOM_ELEMENT_NODE",
                                    "DOM_ATTRIBUTE_NODE",     "DOM_TEXT_NODE",
                                    "DOM_CDATA_SECTION_NODE", "DOM_ENTITY_REFERENCE_NODE",
                                    "DOM_ENTITY_NODE",        "DOM_PROCESSING_INSTRUCTION_NODE",
                                    "DOM_COMMENT_NODE",       "DOM_DOCUMENT_NODE",
                                    "DOM_DOCUMENT_TYPE_NODE", "DOM_DOCUMENT_FRAGMENT_NODE",
                                    "DOM_NOTATION_NODE"};

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

namespace {

constexpr char kSource[] = "src/node.cpp";

bool HasSettableValue(const DOM_Node* node) {
  return IsCharacterData(node) || node->nodeType == DOM_ATTRIBUTE_NODE ||
         node->nodeType == DOM_PROCESSING_INSTRUCTION_NODE;
}

bool IsDocument(const DOM_Node* node) {
  return node != nullptr && node->nodeType == DOM_DOCUMENT_NODE;
}

// The tag name that a look-up asks for.
class WantedName {
 public:
  explicit WantedName(const DOM_String* name) : name_(name), any_(std::strcmp(name, "*") == 0) {}

  bool Matches(const DOM_Node* element) const {
    return any_ || (element->nodeName != nullptr && std::strcoll(element->nodeName, name_) == 0);
  }

 private:
  const DOM_String* name_;
  bool any_;
};

// Appends the matching elements of the subtree of `root`, from `node` on, in document order.
// Elements below nodes that are no elements are not looked at. Returns false when memory ran out.
bool CollectElements(NodeList* found, const DOM_Node* root, DOM_Node* node,
                     const WantedName& name) {
  while (node != nullptr) {
    if (node->nodeType != DOM_ELEMENT_NODE) {
      node = NextAfterSubtree(root, node);
      continue;
    }
    if (name.Matches(node) && NodeList_append(found, node) == nullptr) {
      return false;
    }
    node = NextInPreorder(root, node);
  }
  return true;
}

NodeList* ElementsByTagName(const qvx::TraceSite& site, DOM_Document* document,
                            const DOM_Node* root, DOM_Node* first, const DOM_String* name) {
  NodeList* const found = Document_createNodeList(document);
  if (found != nullptr && CollectElements(found, root, first, WantedName(name))) {
    return found;
  }
  DOM_Document_destroyNodeList(document, found, 0);
  qvx::TracePropagation(site);
  return nullptr;
}

}  // namespace

DOM_String* DOM_Node_getNodeValue(const DOM_Node* node) {
  if (node == nullptr) {
    Fail({kSource, "DOM_Node_getNodeValue"}, kNullParameter);
    return nullptr;
  }
  return node->nodeValue;
}

void DOM_Node_setNodeValue(DOM_Node* node, const DOM_String* value) {
  constexpr char kOperation[] = "DOM_Node_setNodeValue";
  if (node == nullptr) {
    Fail({kSource, kOperation}, kNullParameter);
    return;
  }
  if (!HasSettableValue(node)) {
    return;
  }
  DOM_String* const copy = mbsdup(value);
  if (copy == nullptr) {
    FailErrno({kSource, kOperation});
    return;
  }
  FreeText(node, ExchangeValue(node, copy, static_cast<uint32_t>(mbslen(copy))));
}

int DOM_Node_hasChildNodes(const DOM_Node* node) {
  return node != nullptr && node->firstChild != nullptr ? 1 : 0;
}

DOM_DocumentType* DOM_Document_getDoctype(DOM_Document* document) {
  return IsDocument(document) ? DOM_DocumentPart(document).doctype : nullptr;
}

DOM_Element* DOM_Document_getDocumentElement(DOM_Document* document) {
  return IsDocument(document) ? DOM_DocumentPart(document).documentElement : nullptr;
}

uint32_t DOM_CharacterData_getLength(DOM_CharacterData* node) {
  return node != nullptr && IsCharacterData(node) ? DOM_CharacterDataPart(node).length : 0;
}

NodeList* DOM_Document_getElementsByTagName(DOM_Document* document, const DOM_String* name) {
  if (!IsDocument(document) || name == nullptr) {
    return nullptr;
  }
  DOM_Node* const root = DOM_DocumentPart(document).documentElement;
  return ElementsByTagName({kSource, "DOM_Document_getElementsByTagName"}, document, root, root,
                           name);
}

NodeList* DOM_Element_getElementsByTagName(DOM_Element* element, const DOM_String* name) {
  if (element == nullptr || element->nodeType != DOM_ELEMENT_NODE || name == nullptr) {
    return nullptr;
  }
  return ElementsByTagName({kSource, "DOM_Element_getElementsByTagName"}, element->ownerDocument,
                           element, element->firstChild, name);
}

void DOM_Document_destroyNode(DOM_Document* document, DOM_Node* node) {
  if (node == nullptr) {
    return;
  }
  DOM_Document* const survivor = document != node && IsDocument(document) ? document : nullptr;
  if (!PutAside(node)) {
    node->nextSibling = nullptr;
    return FreeNodes(node, survivor);
  }
  if (survivor != nullptr && IsWithin(node, DOM_DocumentPart(survivor).commonParent)) {
    DOM_DocumentPart(survivor).commonParent = nullptr;
  }
}
