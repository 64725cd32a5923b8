#include "dom/node_memory.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "dom/live_documents.h"
#include "support/mbs.h"

namespace qvx::dom {
namespace {

bool IsParentType(uint16_t node_type) {
  switch (node_type) {
    case DOM_ELEMENT_NODE:
    case DOM_ATTRIBUTE_NODE:
    case DOM_ENTITY_REFERENCE_NODE:
    case DOM_ENTITY_NODE:
    case DOM_DOCUMENT_NODE:
    case DOM_DOCUMENT_TYPE_NODE:
    case DOM_DOCUMENT_FRAGMENT_NODE:
      return true;
    default:
      return false;
  }
}

void SetUpView(NamedNodeMap* view, DOM_Node* doctype, uint16_t filter) {
  view->ownerDocument = doctype->ownerDocument;
  view->underlying = doctype->childNodes;
  view->filter = filter;
}

void SetUpLists(DOM_Node* node) {
  if (!IsParentType(node->nodeType)) {
    return;
  }
  auto* parent = static_cast<ParentNode*>(node);
  node->childNodes = parent;
  node->childNodes->ownerDocument = node->ownerDocument;
  parent->is_child_list = true;
  if (node->nodeType == DOM_ELEMENT_NODE) {
    node->attributes = &static_cast<ElementNode*>(node)->attribute_map;
    node->attributes->ownerDocument = node->ownerDocument;
    node->attributes->ownerElement = node;
  }
  if (node->nodeType == DOM_DOCUMENT_TYPE_NODE) {
    auto* doctype = static_cast<DocumentTypeNode*>(node);
    doctype->entities = &doctype->entity_view;
    doctype->notations = &doctype->notation_view;
    SetUpView(doctype->entities, node, DOM_ENTITY_NODE);
    SetUpView(doctype->notations, node, DOM_NOTATION_NODE);
  }
}

}  // namespace

DOM_Node* NewNode(DOM_Document* document, uint16_t node_type, size_t text_room) {
  if (text_room > UINT32_MAX) {  // two texts of the greatest length that there is
    errno = ENOMEM;
    return nullptr;
  }
  const size_t record_size = kRecordSizes[node_type];
  auto* node = static_cast<NodeRecord*>(std::malloc(record_size + text_room));
  if (node == nullptr) {
    return nullptr;
  }
  std::memset(static_cast<void*>(node), 0, record_size);
  node->nodeType = node_type;
  node->ownerDocument = document;
  node->text_room = static_cast<uint32_t>(text_room);
  SetUpLists(node);
  if (node_type == DOM_DOCUMENT_NODE) {
    AddToLive(static_cast<DocumentNode*>(static_cast<DOM_Node*>(node)));
  }
  return node;
}

DOM_String* ExchangeValue(DOM_Node* node, DOM_String* value, uint32_t length) {
  DOM_String* const previous = node->nodeValue;
  node->nodeValue = value;
  if (IsCharacterData(node)) {
    DOM_CharacterDataPart(node).length = length;
  }
  return previous;
}

bool MeasureText(const DOM_String* text, MeasuredText& measured) {
  if (text == nullptr) {
    errno = EINVAL;
    return false;
  }
  const size_t length = std::strlen(text);
  if (length <= INT_MAX && IsAscii(text, length)) {
    measured = {text, length + 1, static_cast<uint32_t>(length)};
    return true;
  }
  const int bytes = mbssize(text);
  if (bytes < 0) {
    return false;
  }
  measured = {text, static_cast<size_t>(bytes) + 1, static_cast<uint32_t>(mbslen(text))};
  return true;
}

}  // namespace qvx::dom
