// How nodes and lists lie in memory. Internal to the document model.
//
// A node is one block: the record of its type, then room for texts (node_memory.h).
#ifndef QVX_DOM_NODE_RECORDS_H
#define QVX_DOM_NODE_RECORDS_H

#include <cstddef>

#include "dom/dom.h"

namespace qvx::dom {

/// An entry of a list that is no child list.
struct ListEntry : NodeEntry {
  ListEntry* previous;
  ListEntry* next;
  DOM_Node* node;
};

/// What every list has behind its public fields.
struct ListRecord : NodeList {
  NodeEntry* cursor;  ///< the entry that the last look-up by index delivered; null: none
  uint32_t cursor_index;
  bool is_child_list;  ///< the entries are the children of the node that this list is a part of
};

/// What every node has behind its public fields.
struct NodeRecord : DOM_Node {
  uint16_t text_room;  ///< the bytes of the room for texts behind the record
  uint16_t place;      ///< of its block in a page (node_pages.h)
};

/// The mark stands in front of the list record: behind it, it would cost 8 bytes.
struct MarkedNode : NodeRecord {
  uint32_t path_mark;  ///< equals the document's while the path up to the commonParent is known
};

/// A node that may have children: it is its own child list.
struct ParentNode : MarkedNode, ListRecord {
  bool has_been_common_parent;  ///< of some document
};

struct ElementNode : ParentNode {
  ListRecord attribute_map;
};

struct AttributeNode : ParentNode, DOM_AttributeFields {
  ListEntry map_entry;  ///< its entry in the attribute map of an element; every other list has heap
                        ///< entries
  NamedNodeMap* home;   ///< the map that map_entry is linked into; null while it is unused
  uint32_t placements;  ///< how often map_entry has been linked into a map
};

struct CharacterDataNode : NodeRecord, DOM_CharacterDataFields {};

struct ProcessingInstructionNode : NodeRecord {};

struct EntityNode : ParentNode, DOM_ExternalIdFields {};

struct NotationNode : NodeRecord, DOM_ExternalIdFields {};

struct DocumentNode : ParentNode, DOM_DocumentFields {
  uint32_t current_mark;  ///< what marks a path to the present commonParent
  DocumentNode* previous_live;
  DocumentNode* next_live;
};

struct DocumentTypeNode : ParentNode, DOM_DocumentTypeFields {
  DOM_Document* namer;  ///< the document whose doctype field names it although it is no child of
                        ///< it; a clone only
  ListRecord entity_view;
  ListRecord notation_view;
};

/// The size of a record by the type of its node.
inline constexpr size_t kRecordSizes[13] = {0,
                                            sizeof(ElementNode),
                                            sizeof(AttributeNode),
                                            sizeof(CharacterDataNode),
                                            sizeof(CharacterDataNode),
                                            sizeof(ParentNode),
                                            sizeof(EntityNode),
                                            sizeof(ProcessingInstructionNode),
                                            sizeof(CharacterDataNode),
                                            sizeof(DocumentNode),
                                            sizeof(DocumentTypeNode),
                                            sizeof(ParentNode),
                                            sizeof(NotationNode)};

/// Whether `node` (may be null) is a document.
inline bool IsDocument(const DOM_Node* node) {
  return node != nullptr && node->nodeType == DOM_DOCUMENT_NODE;
}

/// Whether `node` is a text, a CDATA section or a comment.
inline bool IsCharacterData(const DOM_Node* node) {
  return node->nodeType == DOM_TEXT_NODE || node->nodeType == DOM_CDATA_SECTION_NODE ||
         node->nodeType == DOM_COMMENT_NODE;
}

}  // namespace qvx::dom

#endif
