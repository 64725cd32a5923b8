// How nodes lie in memory. Internal to the document model.
//
// A node is one malloc block: the record of its type, then room for texts. A text that stands there
// is not freed; FreeText tells the two apart by the address.
#ifndef QVX_DOM_NODE_RECORD_H
#define QVX_DOM_NODE_RECORD_H

#include <cstddef>

#include "dom/dom.h"

namespace qvx::dom {

/// An entry of a list that is no child list.
struct ListEntry : NodeEntry {
  ListEntry* previous;
  ListEntry* next;
  DOM_Node* node;
};

/// A node that may have children: it is its own child list.
struct ParentNode : DOM_Node, NodeList {};

struct ElementNode : ParentNode {
  NamedNodeMap attribute_map;
};

struct AttributeNode : ParentNode, DOM_AttributeFields {
  ListEntry map_entry;  ///< its entry in the attribute map of an element; every other list has heap
                        ///< entries
  NamedNodeMap* home;   ///< the map that map_entry is linked into; null while it is unused
};

struct CharacterDataNode : DOM_Node, DOM_CharacterDataFields {};

struct ProcessingInstructionNode : DOM_Node {};

struct EntityNode : ParentNode, DOM_ExternalIdFields {};

struct NotationNode : DOM_Node, DOM_ExternalIdFields {};

struct DocumentNode : ParentNode, DOM_DocumentFields {
  DocumentNode* previous_live;
  DocumentNode* next_live;
};

/// The documents that are not freed yet. A node may outlive its document, so what is freed finds
/// the documents here and not by its ownerDocument.
extern DocumentNode* live_documents;

struct DocumentTypeNode : ParentNode, DOM_DocumentTypeFields {
  DOM_Document* namer;  ///< the document whose doctype field names it although it is no child of
                        ///< it; a clone only
  NamedNodeMap entity_view;
  NamedNodeMap notation_view;
};

/// Makes a zero-filled node of `node_type` in `document` with its child list, attribute map and
/// document type views set up and `text_capacity` bytes behind the record, at TextRoom. Returns
/// null with errno set when memory ran out; records nothing.
DOM_Node* NewNode(DOM_Document* document, uint16_t node_type, size_t text_capacity);

/// The room for texts behind the record of a node that NewNode made.
char* TextRoom(DOM_Node* node);

/// Frees a name or value of `node`, unless it stands in the node's own block or is null.
void FreeText(const DOM_Node* node, const char* text);

/// Makes `value` (from malloc, handed over) the value of `node`; for character data, `length` its
/// length. The old value is returned and must be released with FreeText.
DOM_String* ExchangeValue(DOM_Node* node, DOM_String* value, uint32_t length);

/// Frees the listeners of `node` and their array.
void FreeListeners(DOM_Node* node);

/// Frees the record of `node` and the texts, listeners and lists that it owns, not its children and
/// attributes.
void FreeNode(DOM_Node* node);

/// Frees the nodes of a sibling chain (`first` may be null) with all that they own, without
/// recursion. What `survivor`, a document that lives on or null, names of them is cleared.
void FreeNodes(DOM_Node* first, DOM_Document* survivor);

}  // namespace qvx::dom

#endif
