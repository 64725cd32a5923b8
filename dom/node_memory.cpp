#include "dom/node_memory.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "dom/common_parent.h"
#include "support/block_pages.h"

namespace qvx::dom {
namespace {

/// Gives an element its attribute map, and a document type its views.
void SetUpMaps(ParentNode* /*node*/) {}

void SetUpMaps(ElementNode* node) {
  AttributeMap* const map = node;
  map->kind = ListKind::kAttributes;
  node->attributes = map;
}

void SetUpView(ViewList& view, DocumentTypeNode* node, uint16_t filter) {
  view.kind = ListKind::kView;
  view.filter = filter;
  view.doctype = node;
}

void SetUpMaps(DocumentTypeNode* node) {
  SetUpView(node->entity_view, node, DOM_ENTITY_NODE);
  SetUpView(node->notation_view, node, DOM_NOTATION_NODE);
  node->entities = &node->entity_view;
  node->notations = &node->notation_view;
}

/// The compiler zeroes a few words by vector stores, more by a slow loop.
template <size_t kSize>
void ZeroFill(char* memory) {
  constexpr size_t kAtOnce = 64;
  std::memset(memory, 0, std::min(kSize, kAtOnce));
  if constexpr (kSize > kAtOnce) {
    ZeroFill<kSize - kAtOnce>(memory + kAtOnce);
  }
}

constexpr uint16_t kMostTextRoom = 0x3fff;  // that its field holds

size_t BlockSizeFor(size_t size) {
  return (size + kBlockUnit - 1) / kBlockUnit * kBlockUnit;
}

/// A node with room for `text_bytes` behind its record, or with none when that is too much.
template <typename Record>
[[gnu::always_inline]] inline Record* NewRecord(DOM_Document* document, uint16_t node_type,
                                                size_t text_bytes) {
  constexpr size_t kSize = kRecordSize<Record>;
  const bool fits = text_bytes <= kLargestBlock - kSize;
  const size_t size = BlockSizeFor(kSize + (fits ? text_bytes : 0));
  const PageBlock block = TakeBlock(size);
  if (block.memory == nullptr) {
    return nullptr;
  }
  ZeroFill<sizeof(Record)>(static_cast<char*>(block.memory));
  auto* node = static_cast<Record*>(block.memory);
  node->nodeType = node_type;
  node->ownerDocument = document;
  static_assert(kLargestBlock <= kMostTextRoom);
  node->text_room = (size - kSize) & kMostTextRoom;
  node->place = block.place;
  if constexpr (std::is_base_of_v<ParentNode, Record>) {
    node->childNodes = static_cast<ParentNode*>(node);
  }
  return node;
}

DOM_Node* NewBareNode(DOM_Document* document, uint16_t node_type) {
  switch (node_type) {
    case DOM_ELEMENT_NODE:
      return NewRecord<ElementNode>(document, node_type, 0);
    case DOM_ATTRIBUTE_NODE:
      return NewRecord<AttributeNode>(document, node_type, 0);
    case DOM_ENTITY_NODE:
      return NewRecord<EntityNode>(document, node_type, 0);
    case DOM_PROCESSING_INSTRUCTION_NODE:
      return NewRecord<ProcessingInstructionNode>(document, node_type, 0);
    case DOM_DOCUMENT_NODE:
      return NewRecord<DocumentNode>(document, node_type, 0);
    case DOM_DOCUMENT_TYPE_NODE:
      return NewRecord<DocumentTypeNode>(document, node_type, 0);
    case DOM_NOTATION_NODE:
      return NewRecord<NotationNode>(document, node_type, 0);
    case DOM_ENTITY_REFERENCE_NODE:
    case DOM_DOCUMENT_FRAGMENT_NODE:
      return NewRecord<ParentNode>(document, node_type, 0);
    default:
      return NewRecord<CharacterDataNode>(document, node_type, 0);
  }
}

/// The bytes from `place`, in the room of `node`, to the end of the room.
size_t RoomFrom(DOM_Node* node, const char* place) {
  return static_cast<size_t>(TextRoom(node) + static_cast<const NodeRecord*>(node)->text_room -
                             place);
}

/// A copy of `text` for a fresh node: behind the first `used` bytes of its room if that is large
/// enough, otherwise in a block of its own. Null with errno set when memory ran out.
template <typename Record>
DOM_String* CopyForNode(Record* node, size_t used, MeasuredText text) {
  if (used + text.bytes > node->text_room) {
    return CopyOf(text);
  }
  return CopyTo(reinterpret_cast<char*>(node) + kRecordSize<Record> + used, text);
}

/// A node with its maps and a copy of its name; null with errno set when memory ran out.
template <typename Record>
DOM_Node* NewNamed(DOM_Document* document, uint16_t node_type, MeasuredText name) {
  Record* const node = NewRecord<Record>(document, node_type, name.bytes);
  if (node == nullptr) {
    return nullptr;
  }
  SetUpMaps(node);
  node->nodeName = CopyForNode(node, 0, name);
  if (node->nodeName == nullptr) {
    FreeRecord(node);
    return nullptr;
  }
  return node;
}

/// Gives a fresh node, which may be null, its name and value. Null, with the node freed and errno
/// set, when memory ran out.
template <typename Record>
DOM_Node* WithTexts(Record* node, MeasuredText name, MeasuredText value) {
  if (node == nullptr) {
    return nullptr;
  }
  node->nodeName = CopyForNode(node, 0, name);
  node->nodeValue = node->nodeName != nullptr ? CopyForNode(node, name.bytes, value) : nullptr;
  if (node->nodeValue != nullptr) {
    return node;
  }
  FreeText(node, node->nodeName);
  // The analyzer does not know that a text in the room of the record goes with it.
  FreeRecord(node);  // NOLINT(clang-analyzer-unix.Malloc)
  return nullptr;
}

const DOM_String* ConstantName(uint16_t node_type) {
  if (node_type == DOM_TEXT_NODE) {
    return "#text";
  }
  return node_type == DOM_COMMENT_NODE ? "#comment" : "#cdata-section";
}

}  // namespace

DOM_Node* NewNode(DOM_Document* document, uint16_t node_type) {
  DOM_Node* const node = NewBareNode(document, node_type);
  if (node != nullptr && node_type == DOM_DOCUMENT_NODE &&
      !AddDocument(static_cast<DocumentNode*>(node))) {
    FreeRecord(node);
    return nullptr;
  }
  return node;
}

DOM_Node* NewNamedNode(DOM_Document* document, uint16_t node_type, MeasuredText name) {
  switch (node_type) {
    case DOM_ELEMENT_NODE:
      return NewNamed<ElementNode>(document, node_type, name);
    case DOM_DOCUMENT_TYPE_NODE:
      return NewNamed<DocumentTypeNode>(document, node_type, name);
    default:
      return NewNamed<ParentNode>(document, node_type, name);
  }
}

DOM_ProcessingInstruction* NewInstruction(DOM_Document* document, MeasuredText target,
                                          MeasuredText data) {
  return WithTexts(NewRecord<ProcessingInstructionNode>(document, DOM_PROCESSING_INSTRUCTION_NODE,
                                                        size_t{target.bytes} + data.bytes),
                   target, data);
}

DOM_Attr* NewAttribute(DOM_Document* document, MeasuredText name, MeasuredText value) {
  AttributeNode* const attribute =
      NewRecord<AttributeNode>(document, DOM_ATTRIBUTE_NODE, size_t{name.bytes} + value.bytes);
  if (attribute != nullptr) {
    attribute->specified = 1;
  }
  return WithTexts(attribute, name, value);
}

DOM_CharacterData* NewCharacterData(DOM_Document* document, uint16_t node_type, MeasuredText data) {
  auto* const node = NewRecord<CharacterDataNode>(document, node_type, data.bytes);
  if (node == nullptr) {
    return nullptr;
  }
  node->nodeName = ConstantName(node_type);
  node->nodeValue = CopyForNode(node, 0, data);
  node->length = data.columns;
  if (node->nodeValue == nullptr) {
    FreeRecord(node);
    return nullptr;
  }
  return node;
}

void FreeRecord(DOM_Node* node) {
  const auto* record = static_cast<const NodeRecord*>(node);
  const size_t size = kRecordSizes[node->nodeType] + record->text_room;
  GiveBackBlock({node, record->place}, size);
}

bool ReplaceValue(DOM_Node* node, MeasuredText value) {
  if (StandsInRoom(node, node->nodeValue) && value.bytes <= RoomFrom(node, node->nodeValue)) {
    ExchangeValue(node, CopyTo(node->nodeValue, value), value.columns);
    return true;
  }
  DOM_String* const copy = CopyOf(value);
  if (copy == nullptr) {
    return false;
  }
  FreeText(node, ExchangeValue(node, copy, value.columns));
  return true;
}

DOM_String* ExchangeValue(DOM_Node* node, DOM_String* value, uint32_t length) {
  DOM_String* const previous = node->nodeValue;
  node->nodeValue = value;
  static_cast<NodeRecord*>(node)->has_growing_value = 0;
  if (IsCharacterData(node)) {
    DOM_CharacterDataPart(node).length = length;
  }
  return previous;
}

}  // namespace qvx::dom
