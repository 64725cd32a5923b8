#include "dom/node_memory.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "dom/live_documents.h"
#include "dom/node_pages.h"
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

// A child list needs nothing but zeros.
void SetUpLists(DOM_Node* node) {
  if (!IsParentType(node->nodeType)) {
    return;
  }
  node->childNodes = static_cast<ParentNode*>(node);
  if (node->nodeType == DOM_ELEMENT_NODE) {
    AttributeMap* const map = static_cast<ElementNode*>(node);
    map->kind = ListKind::kAttributes;
    node->attributes = map;
  }
  if (node->nodeType == DOM_DOCUMENT_TYPE_NODE) {
    auto* doctype = static_cast<DocumentTypeNode*>(node);
    EntityView* const entities = doctype;
    NotationView* const notations = doctype;
    entities->kind = notations->kind = ListKind::kView;
    entities->filter = DOM_ENTITY_NODE;
    notations->filter = DOM_NOTATION_NODE;
    doctype->entities = entities;
    doctype->notations = notations;
  }
}

size_t BlockSizeFor(size_t size) {
  return (size + kBlockUnit - 1) / kBlockUnit * kBlockUnit;
}

}  // namespace

DOM_Node* NewNode(DOM_Document* document, uint16_t node_type, size_t text_bytes) {
  const size_t record_size = kRecordSizes[node_type];
  const bool fits = text_bytes <= kLargestBlock - record_size;
  const size_t size = BlockSizeFor(record_size + (fits ? text_bytes : 0));
  const NodeBlock block = TakeBlock(size);
  if (block.memory == nullptr) {
    return nullptr;
  }
  std::memset(block.memory, 0, record_size);
  auto* node = static_cast<NodeRecord*>(block.memory);
  node->nodeType = node_type;
  node->ownerDocument = document;
  node->text_room = static_cast<uint16_t>(size - record_size);
  node->place = block.place;
  SetUpLists(node);
  if (node_type == DOM_DOCUMENT_NODE) {
    AddToLive(static_cast<DocumentNode*>(static_cast<DOM_Node*>(node)));
  }
  return node;
}

void FreeRecord(DOM_Node* node) {
  const auto* record = static_cast<const NodeRecord*>(node);
  const size_t size = kRecordSizes[node->nodeType] + record->text_room;
  GiveBackBlock({node, record->place}, size);
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

DOM_String* CopyForNode(DOM_Node* node, size_t used, const MeasuredText& text) {
  char* copy = TextRoom(node) + used;
  if (used + text.bytes > static_cast<const NodeRecord*>(node)->text_room) {
    copy = static_cast<char*>(std::malloc(text.bytes));
    if (copy == nullptr) {
      return nullptr;
    }
  }
  std::memcpy(copy, text.text, text.bytes - 1);
  copy[text.bytes - 1] = '\0';
  return copy;
}

}  // namespace qvx::dom
