// How nodes and lists lie in memory. Internal to the document model.
//
// A node is one block: the record of its type, then room for texts (node_memory.h).
#ifndef QVX_DOM_NODE_RECORDS_H
#define QVX_DOM_NODE_RECORDS_H

#include <cstddef>

#include "dom/dom.h"

namespace qvx::dom {

/// What lists differ in.
enum class ListKind : uint8_t {
  kChildren,    ///< of a node, which the list is a part of
  kAttributes,  ///< of an element, likewise
  kEntries,     ///< a list by itself (lists.cpp)
  kView         ///< of the children of a document type, which it is a part of
};

/// What every list has.
struct ListRecord : NodeList {
  ListKind kind;
  uint8_t place_number;  ///< of the remembered one (places.h), from 1; 0: none
};

/// The entries of a child list are the children themselves.
struct ChildList : ListRecord {};

/// The entries of an attribute map are the attributes themselves.
struct AttributeMap : ListRecord {};

struct DocumentTypeNode;

/// A view has no entries of its own.
struct ViewList : ListRecord {
  uint16_t filter;            ///< the type of the nodes that it shows
  DocumentTypeNode* doctype;  ///< among whose children it shows them
};

/// What every node has behind its public fields.
struct NodeRecord : DOM_Node {
  uint16_t text_room : 14;         ///< the bytes of the room for texts behind the record
  uint16_t has_listeners : 1;      ///< now or formerly (listeners.h)
  uint16_t has_growing_value : 1;  ///< the value has room to grow (character_data.cpp)
  uint16_t place;                  ///< of its block in a page (support/block_pages.h)
};

/// A mark of so many bits never comes back.
struct MarkedNode : NodeRecord {
  uint64_t
      path_mark : 63;     ///< equals the document's while the path up to the commonParent is known
  uint64_t is_named : 1;  ///< as the commonParent of a document, now or formerly
};

/// A node that may have children: it is its own child list.
struct ParentNode : MarkedNode, ChildList {};

struct AttributeNode;

struct ElementNode : ParentNode, AttributeMap {
  AttributeNode* first_attribute;  ///< of a ring (attribute_maps.h)
};

struct AttributeNode : ParentNode, DOM_AttributeFields {
  uint32_t placements;      ///< how often it has been put into a map
  ElementNode* holder;      ///< the element in whose map it is, or null
  AttributeNode* previous;  ///< in that map; that of the first is the last
  AttributeNode* next;      ///< null: it is the last
};

struct CharacterDataNode : NodeRecord, DOM_CharacterDataFields {};

struct ProcessingInstructionNode : NodeRecord {};

struct EntityNode : ParentNode, DOM_ExternalIdFields {};

struct NotationNode : NodeRecord, DOM_ExternalIdFields {};

struct DocumentNode : ParentNode, DOM_DocumentFields {
  uint64_t current_mark;  ///< what marks a path to the present commonParent
  DOM_Node* named;        ///< the commonParent that the model has set, if it may have children
};

struct DocumentTypeNode : ParentNode, DOM_DocumentTypeFields {
  ViewList entity_view;
  ViewList notation_view;
  DOM_Document* namer;  ///< the document whose doctype field names it although it is no child of
                        ///< it; a clone only
};

/// The size of a record, up to where the room for texts begins.
template <typename Record>
inline constexpr size_t kRecordSize = sizeof(Record);

/// Texts begin right behind the last field, not behind the padding that follows it.
inline constexpr size_t kDataEnd = sizeof(NodeRecord) + sizeof(DOM_CharacterDataFields);
template <>
inline constexpr size_t kRecordSize<CharacterDataNode> = kDataEnd;

/// The same by the type of the node.
inline constexpr size_t kRecordSizes[13] = {0,
                                            kRecordSize<ElementNode>,
                                            kRecordSize<AttributeNode>,
                                            kRecordSize<CharacterDataNode>,
                                            kRecordSize<CharacterDataNode>,
                                            kRecordSize<ParentNode>,
                                            kRecordSize<EntityNode>,
                                            kRecordSize<ProcessingInstructionNode>,
                                            kRecordSize<CharacterDataNode>,
                                            kRecordSize<DocumentNode>,
                                            kRecordSize<DocumentTypeNode>,
                                            kRecordSize<ParentNode>,
                                            kRecordSize<NotationNode>};

/// Every list was made by the document model.
inline ListRecord* RecordOf(NodeList* list) {
  return static_cast<ListRecord*>(list);
}
inline ListKind KindOf(const NodeList* list) {
  return static_cast<const ListRecord*>(list)->kind;
}
inline bool IsView(const NodeList* list) {
  return KindOf(list) == ListKind::kView;
}

/// Return the element that `list`, an attribute map, is a part of.
inline ElementNode* ElementOfMap(NodeList* list) {
  return static_cast<ElementNode*>(static_cast<AttributeMap*>(list));
}
inline const ElementNode* ElementOfMap(const NodeList* list) {
  return static_cast<const ElementNode*>(static_cast<const AttributeMap*>(list));
}

/// Return the node that `list`, a child list, is a part of.
inline DOM_Node* ParentOfList(NodeList* list) {
  return static_cast<ParentNode*>(static_cast<ChildList*>(list));
}
inline const DOM_Node* ParentOfList(const NodeList* list) {
  return static_cast<const ParentNode*>(static_cast<const ChildList*>(list));
}

inline const ViewList* ViewOf(const NodeList* list) {
  return static_cast<const ViewList*>(list);
}

/// Returns whether `node` (may be null) is a document.
inline bool IsDocument(const DOM_Node* node) {
  return node != nullptr && node->nodeType == DOM_DOCUMENT_NODE;
}

/// Returns whether `node` is a text, a CDATA section or a comment.
inline bool IsCharacterData(const DOM_Node* node) {
  return node->nodeType == DOM_TEXT_NODE || node->nodeType == DOM_CDATA_SECTION_NODE ||
         node->nodeType == DOM_COMMENT_NODE;
}

}  // namespace qvx::dom

#endif
