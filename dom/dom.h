// The document model: a tree of nodes after the W3C DOM Level 2 Core, with mutation events after
// DOM Level 2 Events. This header is all that a user of the model includes. It declares only: each
// subject has a source of its own (docs/design.md). The operations stand with the object that they
// are for.
//
// Nodes. Every node is one block: the common record DOM_Node, then its type's own part
// (DOM_DocumentFields, DOM_AttributeFields, ...), then, where they fit, its name and value. A
// handle is always a DOM_Node*. DOM_Document, DOM_Element and the like are other names for it that
// say what a parameter must be. The functions DOM_DocumentPart, DOM_AttributePart, ... give a
// node's own part.
//
// Lists. A parent is its own child list: the entries are the child nodes, linked by the sibling
// chain. So an entry is found without a search, and list and chain cannot differ. In the same way
// an attribute is its own entry in the map of its element. A walk by index is linear.
//
// Ownership. Operations copy the strings that they get. A new node belongs to the caller until it
// is put into a tree, and a removed node belongs to the caller again. DOM_Document_destroyNode
// releases it.
//
// Handlers. A handler of an event may call every operation. It may also destroy what an outer
// operation works on: merge its text, remove its attribute, destroy its node. A node that is
// destroyed while handlers may run leaves its place at once. It can be read until the outermost
// operation has ended. Then it is freed, unless it was put into a tree again. So a program's node
// may be gone when an operation returns, but the node that the operation returns is not.
//
// Failures. An operation returns null or -1, leaves a code in the error cell and a line in the
// trace buffer (support/msgno.h). Only the start of a load clears the cell.
//
// The model serves one thread.
#ifndef QVX_DOM_DOM_H
#define QVX_DOM_DOM_H

#include <cstdint>
#include <cstdio>

#include "support/msgno.h"

struct DOM_Node;
struct DOM_Event;
struct DOM_ListenerEntry;

using DOM_String = char;
using DOM_Document = DOM_Node;
using DOM_Element = DOM_Node;
using DOM_Attr = DOM_Node;
using DOM_CharacterData = DOM_Node;
using DOM_Text = DOM_Node;
using DOM_CDATASection = DOM_Node;
using DOM_Comment = DOM_Node;
using DOM_ProcessingInstruction = DOM_Node;
using DOM_EntityReference = DOM_Node;
using DOM_DocumentType = DOM_Node;
using DOM_DocumentFragment = DOM_Node;

// Node types (DOM Level 2 Core, interface Node).
inline constexpr uint16_t DOM_ELEMENT_NODE = 1;
inline constexpr uint16_t DOM_ATTRIBUTE_NODE = 2;
inline constexpr uint16_t DOM_TEXT_NODE = 3;
inline constexpr uint16_t DOM_CDATA_SECTION_NODE = 4;
inline constexpr uint16_t DOM_ENTITY_REFERENCE_NODE = 5;
inline constexpr uint16_t DOM_ENTITY_NODE = 6;
inline constexpr uint16_t DOM_PROCESSING_INSTRUCTION_NODE = 7;
inline constexpr uint16_t DOM_COMMENT_NODE = 8;
inline constexpr uint16_t DOM_DOCUMENT_NODE = 9;
inline constexpr uint16_t DOM_DOCUMENT_TYPE_NODE = 10;
inline constexpr uint16_t DOM_DOCUMENT_FRAGMENT_NODE = 11;
inline constexpr uint16_t DOM_NOTATION_NODE = 12;

/// Debugging names of the node types; index 0 is "No such node type".
extern const char* const node_names[13];

/// Allowed children: indexed by the parent's type minus 1; bit (child type minus 1).
extern const uint16_t child_matrix[12];

/// A place in a list: a child or an attribute itself, or an entry of a list that is no part of a
/// node. Nodes are reached with DOM_NodeList_item.
struct NodeEntry {};

/// A list of nodes; also the representation of a named-node map.
struct NodeList {
  uint32_t length;
};
using DOM_NodeList = NodeList;
using NamedNodeMap = NodeList;
using DOM_NamedNodeMap = NodeList;

/// What all nodes have in common.
struct DOM_Node : NodeEntry {
  const DOM_String* nodeName;
  DOM_String* nodeValue;  ///< null for types without a value
  DOM_Node* parentNode;
  NodeList* childNodes;  ///< null for types that never have children
  DOM_Node* firstChild;
  DOM_Node* lastChild;
  DOM_Node* previousSibling;
  DOM_Node* nextSibling;
  NamedNodeMap* attributes;  ///< null for all but elements that were made with a name
  DOM_Node* ownerDocument;   ///< null for a document and for a document type outside any document
  // Behind the pointers, so that what a node has besides fits into their word.
  uint16_t nodeType;
  uint16_t subtreeModified;  ///< flag: a mutation is pending aggregation
};

/// The own part of a document.
struct DOM_DocumentFields {
  DOM_Node* doctype;
  DOM_Node* documentElement;
  DOM_Node* commonParent;  ///< where DOMSubtreeModified is due; see
                           ///< DOM_MutationEvent_processSubtreeModified
  DOM_String* version;     ///< of the XML declaration; may be null
  DOM_String* encoding;    ///< may be null
  int32_t standalone;      ///< -1 absent, 0 "no", 1 "yes"
};

/// The own part of an attribute.
struct DOM_AttributeFields {
  DOM_Node* ownerElement;  ///< the element whose map holds it, or null
  uint32_t specified;      ///< 1 when made
};

/// The own part of a text, CDATA section or comment.
struct DOM_CharacterDataFields {
  uint32_t length;  ///< in columns (mbslen of support/mbs.h); as many as characters in ASCII
};

/// The own part of an entity and of a notation; notationName is always null for a notation.
struct DOM_ExternalIdFields {
  DOM_String* publicId;
  DOM_String* systemId;
  DOM_String* notationName;
};

/// The own part of a document type; one that was made without a name has no views.
struct DOM_DocumentTypeFields {
  NamedNodeMap* entities;   ///< a view of its children of type 6
  NamedNodeMap* notations;  ///< a view of its children of type 12
  DOM_String* publicId;
  DOM_String* systemId;
  DOM_String* internalSubset;
};

/// Return the own part of a node. The caller makes sure of the type.
DOM_DocumentFields& DOM_DocumentPart(DOM_Document* document);
DOM_AttributeFields& DOM_AttributePart(DOM_Attr* attribute);
DOM_CharacterDataFields& DOM_CharacterDataPart(DOM_CharacterData* node);
DOM_ExternalIdFields& DOM_ExternalIdPart(DOM_Node* entity_or_notation);
DOM_DocumentTypeFields& DOM_DocumentTypePart(DOM_DocumentType* doctype);
const DOM_DocumentFields& DOM_DocumentPart(const DOM_Document* document);
const DOM_ExternalIdFields& DOM_ExternalIdPart(const DOM_Node* entity_or_notation);
const DOM_DocumentTypeFields& DOM_DocumentTypePart(const DOM_DocumentType* doctype);

// ------------------------------------------------------------------------------------------- nodes

/// Returns a zero-filled node of that type, with a child list if it may have children, and without
/// attribute map or views. Only a document and a document type may be made with a
/// null document; every other type gives null with the null-parameter code. An unknown type gives
/// null with DOM_NOT_SUPPORTED_ERR.
DOM_Node* Document_createNode(DOM_Document* document, uint16_t node_type);

/// Frees `node` with all that it owns, without recursion. The node is not unlinked from a parent:
/// remove it first, or destroy the whole document with (document, document). `document` is the
/// document that the node belongs to, or null; if it lives on, its references to freed nodes are
/// cleared. Within a handler the node is unlinked and freed later, and a second call for it does
/// nothing. The handler answers for others that still hold the node.
void DOM_Document_destroyNode(DOM_Document* document, DOM_Node* node);

/// Returns the node's value, which stays the node's; null with the null-parameter code for a null
/// node.
DOM_String* DOM_Node_getNodeValue(const DOM_Node* node);

/// Replaces the value of an attribute, text, CDATA section, comment or processing instruction by a
/// copy of `value`; other types are left alone. Dispatches no event.
void DOM_Node_setNodeValue(DOM_Node* node, const DOM_String* value);

int DOM_Node_hasChildNodes(const DOM_Node* node);

/// Merges neighbouring text nodes below `node`. CDATA sections are not merged, and empty text nodes
/// stay. The cost is linear in the text, however many pieces it is in, unless a listener of changed
/// data or removed nodes is registered anywhere. Such a listener gets the whole text at every
/// piece, and the merged texts can be read until the outermost operation has ended.
void DOM_Element_normalize(DOM_Node* node);

// The four tree changes and cloning (DOM Level 2 Core, interface Node).

/// Takes `new_child` out of its old place and puts it at the end of the children of `parent`. The
/// children of a fragment are put there one by one. Returns the new child (the fragment, now
/// empty), or null with
/// - the null-parameter code: an argument is null,
/// - DOM_WRONG_DOCUMENT_ERR: the two belong to different documents. A document takes every child,
///   and a document type goes everywhere,
/// - DOM_HIERARCHY_REQUEST_ERR: the parent may not have such a child, has its one element or
///   document type already, is the new child or below it; also a fragment that would be put into
///   itself,
/// - DOM_NOT_FOUND_ERR: a handler has destroyed the child after it was put there. It is detached
///   and the caller's.
/// A refused child stays where it was. If handlers changed the tree while it was taken out, it is
/// detached and the caller's. A child of a fragment that is refused on its way is destroyed; the
/// children before it stay where they were put.
DOM_Node* DOM_Node_appendChild(DOM_Node* parent, DOM_Node* new_child);

/// As DOM_Node_appendChild, but puts the child before `reference` (null: at the end). The document
/// of the child must be that of the parent, or the parent itself. DOM_HIERARCHY_REQUEST_ERR also
/// for a reference that is no child of `parent`. A child that would be put before itself is
/// removed, and belongs to the caller: null with DOM_NOT_FOUND_ERR.
DOM_Node* DOM_Node_insertBefore(DOM_Node* parent, DOM_Node* new_child, DOM_Node* reference);

/// Puts `new_child` (or the children of a fragment, which may be none) in the place of `old_child`.
/// The rules are those of DOM_Node_insertBefore: a document with an element takes no other, not
/// even in its place. Returns the old child, which is detached and the caller's. If a handler has
/// put it into a tree again, its parentNode tells. Returns null on failure, with DOM_NOT_FOUND_ERR
/// when the old child is no child of `parent`. A child that would replace itself is removed, and
/// belongs to the caller: null, with nothing recorded.
DOM_Node* DOM_Node_replaceChild(DOM_Node* parent, DOM_Node* new_child, DOM_Node* old_child);

/// Returns the old child, which is detached and the caller's; null with the null-parameter code,
/// DOM_WRONG_DOCUMENT_ERR or DOM_NOT_FOUND_ERR. A removed document type belongs to no document.
DOM_Node* DOM_Node_removeChild(DOM_Node* parent, DOM_Node* old_child);

/// Returns a copy, which belongs to the caller: with the attributes, and with all descendants when
/// `deep` is not 0. The clone of a document is a new document, without the XML declaration. Every
/// other clone belongs to the document of its original. The doctype field of that document names
/// the clone of a document type, until the clone is destroyed or goes to another document.
/// Null on failure, with the tree as it was: the null-parameter code, DOM_NOT_SUPPORTED_ERR for an
/// entity reference, or the system's code for a text that could not be copied (EINVAL: an entity
/// without a value).
DOM_Node* DOM_Node_cloneNode(DOM_Node* node, int deep);

/// Print one node, or a whole tree, to standard output.
void DOM_Node_printNode(const DOM_Node* node);
void DOM_Node_printNode2(const DOM_Node* node);

// --------------------------------------------------------------------------------------- documents

/// Returns 0.
int DOM_Implementation_hasFeature(const DOM_String* feature, const DOM_String* version);

/// Returns an empty document; `doctype`, when given, becomes its first child. The other arguments
/// are ignored.
DOM_Document* DOM_Implementation_createDocument(const DOM_String* namespace_uri,
                                                const DOM_String* qualified_name,
                                                DOM_DocumentType* doctype);

DOM_DocumentType* DOM_Document_getDoctype(DOM_Document* document);
DOM_Element* DOM_Document_getDocumentElement(DOM_Document* document);

// The factories return null, with the reason recorded, when a text cannot be copied.
DOM_Element* DOM_Document_createElement(DOM_Document* document, const DOM_String* tag_name);
DOM_Attr* DOM_Document_createAttribute(DOM_Document* document, const DOM_String* name);
DOM_Text* DOM_Document_createTextNode(DOM_Document* document, const DOM_String* data);
DOM_CDATASection* DOM_Document_createCDATASection(DOM_Document* document, const DOM_String* data);
DOM_Comment* DOM_Document_createComment(DOM_Document* document, const DOM_String* data);
DOM_ProcessingInstruction* DOM_Document_createProcessingInstruction(DOM_Document* document,
                                                                    const DOM_String* target,
                                                                    const DOM_String* data);
DOM_EntityReference* DOM_Document_createEntityReference(DOM_Document* document,
                                                        const DOM_String* name);
DOM_DocumentFragment* DOM_Document_createDocumentFragment(DOM_Document* document);

/// Return the elements called `name` ("*": all) in document order. The second one leaves out the
/// element itself. The list does not follow later changes; the caller releases it with
/// DOM_Document_destroyNodeList (document, list, 0). Null, with nothing recorded, for null
/// arguments or another type of node; null with ENOMEM when memory ran out.
NodeList* DOM_Document_getElementsByTagName(DOM_Document* document, const DOM_String* name);
NodeList* DOM_Element_getElementsByTagName(DOM_Element* element, const DOM_String* name);

// ---------------------------------------------------------------------------------- document types

/// Returns a document type of no document. The ids may be null.
DOM_DocumentType* DOM_Implementation_createDocumentType(const DOM_String* qualified_name,
                                                        const DOM_String* public_id,
                                                        const DOM_String* system_id);

// ------------------------------------------------------------------------- elements and attributes

/// Returns a copy of the value, which the caller releases with free(). Returns an empty text when
/// there is no such attribute; null for null arguments or a node that never has attributes.
DOM_String* DOM_Element_getAttribute(const DOM_Element* element, const DOM_String* name);
void DOM_Element_setAttribute(DOM_Element* element, const DOM_String* name,
                              const DOM_String* value);

/// Destroys the attribute of that name, unless a handler of its removal has put it into an element
/// again. DOM_NOT_FOUND_ERR when there is none.
void DOM_Element_removeAttribute(DOM_Element* element, const DOM_String* name);
DOM_Attr* DOM_Element_getAttributeNode(const DOM_Element* element, const DOM_String* name);

/// Puts `attribute` into the element, in the place of one of the same name. Returns the displaced
/// attribute, which then belongs to the caller. An attribute that stands in that place already is
/// announced as removed and as added, stays the element's and is returned itself, so do not destroy
/// a result that is `attribute`. Null when nothing was displaced, when a handler has put the
/// displaced one into an element again, and when the attribute was refused
/// (DOM_NamedNodeMap_setNamedItem).
DOM_Attr* DOM_Element_setAttributeNode(DOM_Element* element, DOM_Attr* attribute);

/// Returns the attribute, which then belongs to the caller. Null with DOM_NOT_FOUND_ERR when it is
/// not the element's; null, with nothing recorded, when a handler has put it into an element again.
DOM_Attr* DOM_Element_removeAttributeNode(DOM_Element* element, DOM_Attr* attribute);

// ----------------------------------------------------------------- texts, CDATA sections, comments

uint32_t DOM_CharacterData_getLength(DOM_CharacterData* node);

// Offsets and counts are characters, lengths are columns (support/mbs.h), which differ beyond
// ASCII. DOM_INDEX_SIZE_ERR for an offset beyond the length, for a negative one, and for a negative
// count of substringData. In a deletion, a negative count is the rest. DOM_NOT_SUPPORTED_ERR for a
// node without character data. If replaceData cannot insert its text, it has deleted all the same.
// The cost of appendData grows with the text that is appended, if all of the data is ASCII and no
// listener hears of it. The cost of every other change grows with the data.
DOM_String* DOM_CharacterData_substringData(DOM_CharacterData* node, int32_t offset, int32_t count);
void DOM_CharacterData_appendData(DOM_CharacterData* node, const DOM_String* text);
void DOM_CharacterData_insertData(DOM_CharacterData* node, int32_t offset, const DOM_String* text);
void DOM_CharacterData_deleteData(DOM_CharacterData* node, int32_t offset, int32_t count);
void DOM_CharacterData_replaceData(DOM_CharacterData* node, int32_t offset, int32_t count,
                                   const DOM_String* text);

/// Returns the new text behind `node`, which belongs to the tree. Null also when a handler has
/// taken the node out of the tree (it keeps its data) or has destroyed the new text
/// (DOM_NOT_FOUND_ERR).
DOM_Text* DOM_Text_splitText(DOM_Text* node, int32_t offset);

// ---------------------------------------------------------------------------------- lists of nodes

/// Returns a new, empty list for `document` (may be null); null when memory ran out. The caller
/// releases it with DOM_Document_destroyNodeList.
NodeList* Document_createNodeList(DOM_Document* document);
NamedNodeMap* Document_createNamedNodeMap(DOM_Document* document);

/// Returns the document that the list was made for (may be null); the element whose attribute map
/// it is, or null.
DOM_Document* DOM_NodeList_ownerDocument(const NodeList* list);
DOM_Element* DOM_NodeList_ownerElement(const NodeList* list);

/// Change a list. In the list of a node's children, they link the node into the tree, or out of it.
/// Append puts the node at the end, insert puts it before `reference` (null: at the end), and
/// replace puts it in the place of `old_node`. They return the node's entry, which is good until
/// the next change of the list. Remove returns an entry that the caller releases with free(), or
/// null, with nothing recorded, when the node is not in the list. An attribute's ownerElement is
/// set by append and insert and cleared by remove. Replace clears that of the old node. It sets
/// that of the new one only in an element's map. Null with
/// - the null-parameter code: the list, `node` or `new_node` is null,
/// - DOM_FILTERED_LIST_ERR: the list is a view,
/// - DOM_HIERARCHY_REQUEST_ERR: the list is a child list, and the node has a parent or may not be
///   its child; or it is the map of an element, and the node is no attribute,
/// - DOM_INUSE_ATTRIBUTE_ERR: the attribute is in the map of an element already,
/// - DOM_NOT_FOUND_ERR: `reference` or `old_node` is not in the list, or `old_node` is null.
NodeEntry* NodeList_append(NodeList* list, DOM_Node* node);
NodeEntry* NodeList_insert(NodeList* list, DOM_Node* node, DOM_Node* reference);
NodeEntry* NodeList_remove(NodeList* list, DOM_Node* node);
NodeEntry* NodeList_replace(NodeList* list, DOM_Node* new_node, DOM_Node* old_node);

/// Returns 1 if a plain list holds the node, else 0; always 0 for a view.
int NodeList_exists(const NodeList* list, const DOM_Node* node);

/// Returns the node at `index`, or null. The last lists that were read remember their places, so
/// each step of a walk costs a constant time. More than eight walks at a time over children,
/// attributes or views take each other's places.
DOM_Node* DOM_NodeList_item(NodeList* list, int32_t index);

/// Frees a list; a non-zero flag destroys its nodes first. Null is ignored. The nodes of a view are
/// never touched. A list that is part of a node (its children, its attributes) is emptied instead;
/// without the flag its nodes are detached and belong to the caller. Nodes that were destroyed
/// within a handler and wait for their end are not destroyed once more.
void DOM_Document_destroyNodeList(DOM_Document* document, NodeList* list, int destroy_nodes);

// NamedNodeMap (DOM Level 2 Core, interface NamedNodeMap). Names are compared with strcoll(3).
DOM_Node* DOM_NamedNodeMap_item(NamedNodeMap* map, int32_t index);

/// Returns the first node of that name, or null.
DOM_Node* DOM_NamedNodeMap_getNamedItem(const NamedNodeMap* map, const DOM_String* name);

/// Puts `node` into the map, in the place of one of the same name. Returns the displaced node,
/// which then belongs to the caller. A node that stands in that place already is returned itself
/// and stays there, so do not destroy a result that is `node`. Null, with nothing recorded, when
/// nothing was displaced or an argument is null. Null with
/// - DOM_NO_MODIFICATION_ALLOWED_ERR: the map is a view,
/// - DOM_WRONG_DOCUMENT_ERR: the node belongs to another document,
/// - DOM_INUSE_ATTRIBUTE_ERR: the attribute belongs to another element,
/// - DOM_HIERARCHY_REQUEST_ERR: the map is an element's, and the node is no attribute.
DOM_Node* DOM_NamedNodeMap_setNamedItem(NamedNodeMap* map, DOM_Node* node);

/// Takes out the first node of that name, which then belongs to the caller. Null with
/// DOM_NOT_FOUND_ERR when there is none.
DOM_Node* DOM_NamedNodeMap_removeNamedItem(NamedNodeMap* map, const DOM_String* name);

void DOM_Document_destroyNamedNodeMap(DOM_Document* document, NamedNodeMap* map, int destroy_nodes);

// ----------------------------------------------------------------------------------- load and save

/// Reads the file at `path` into an empty document. Returns 1 when the whole file was parsed. -1:
/// an argument is null, the file cannot be opened by the rules of os/files.h, or the load cannot
/// start. 0: the reading or parsing of the opened file failed. The nodes made until then stay, so
/// destroy the document.
/// The error cell is ENOMEM when the document model ran out of memory. It is DOM_PARSER_ERR also
/// when the parser ran out of memory, which qvx::dom::LoadRanOutOfMemory tells.
int DOM_DocumentLS_load(DOM_Document* document, const char* path);
int DOM_DocumentLS_fread(DOM_Document* document, std::FILE* stream);

namespace qvx::dom {
/// Returns whether the last load failed because the model or the parser ran out of memory, and not
/// because of the text that it read.
bool LoadRanOutOfMemory();

/// Where and why the parser refused what the last load read. The text is empty and the place 0 when
/// the load succeeded, and when it was not the parser that failed.
struct LoadFault {
  const char* text;  ///< the parser's own, never released
  uint64_t line;     ///< from 1
  uint64_t column;   ///< from 1, in bytes
};
LoadFault LastLoadFault();
}  // namespace qvx::dom

/// Writes `document`, or `node` when that is null, to the file at `path`. Nothing is escaped.
/// Returns 0 or -1. If a failure is pending in the error cell, the save is refused before the file
/// is touched.
int DOM_DocumentLS_save(DOM_Document* document, const char* path, const DOM_Node* node);
int DOM_DocumentLS_fwrite(const DOM_Node* node, std::FILE* stream);

/// Writes a document string as it stands. Returns the result of fputs(3).
int fputds(const DOM_String* text, std::FILE* stream);

// ------------------------------------------------------------------------------------------ events

using DOM_EventListener = void;  ///< opaque; handed back to the handler
using DOM_EventHandler = void (*)(DOM_EventListener* listener, DOM_Event* event);

// Phases of a dispatch.
inline constexpr uint16_t DOM_CAPTURING_PHASE = 1;
inline constexpr uint16_t DOM_AT_TARGET = 2;
inline constexpr uint16_t DOM_BUBBLING_PHASE = 3;

// What happened to an attribute.
inline constexpr uint16_t DOM_ATTR_MODIFICATION = 1;
inline constexpr uint16_t DOM_ATTR_ADDITION = 2;
inline constexpr uint16_t DOM_ATTR_REMOVAL = 3;

/// An event. All texts and nodes are borrowed: they must live as long as the event is used.
struct DOM_Event {
  const DOM_String* type;
  DOM_Node* target;
  DOM_Node* currentTarget;
  uint16_t eventPhase;
  uint32_t bubbles;
  uint32_t cancelable;
  uint64_t timeStamp;  ///< milliseconds since the epoch
  uint32_t defaultPrevented;
  uint32_t propagationStopped;
  // Text events.
  uint32_t modifiers;  ///< bit (n - 1) for modifier n, 1 to 8
  void* view;
  int32_t detail;
  const DOM_String* outputString;
  uint32_t keyVal;
  uint32_t virtKeyVal;
  uint32_t visibleOutputGenerated;
  uint32_t numPad;  ///< flag
  // Mutation events.
  DOM_Node* relatedNode;
  const DOM_String* prevValue;
  const DOM_String* newValue;
  const DOM_String* attrName;
  uint16_t attrChange;
};
using DOM_UIEvent = DOM_Event;
using DOM_TextEvent = DOM_Event;
using DOM_MutationEvent = DOM_Event;

/// A registered listener, owned by its node.
struct DOM_ListenerEntry {
  DOM_String* type;  ///< a private copy
  DOM_EventListener* listener;
  DOM_EventHandler handler;
  uint32_t useCapture;
};

/// Returns a new event for the module "Events", "UIEvents" or "TextEvents", which the caller
/// destroys; null with DOM_NOT_SUPPORTED_ERR for any other name.
DOM_Event* DOM_DocumentEvent_createEvent(DOM_Document* document, const DOM_String* module_name);
void DOM_DocumentEvent_destroyEvent(DOM_Document* document, DOM_Event* event);

void DOM_Event_initEvent(DOM_Event* event, const DOM_String* type, int bubbles, int cancelable);
void DOM_UIEvent_initUIEvent(DOM_UIEvent* event, const DOM_String* type, int bubbles,
                             int cancelable, void* view, int32_t detail);
void DOM_TextEvent_initTextEvent(DOM_TextEvent* event, const DOM_String* type, int bubbles,
                                 int cancelable, void* view, int32_t detail,
                                 const DOM_String* output_string, uint32_t key_val,
                                 uint32_t virt_key_val, uint32_t visible_output_generated,
                                 int num_pad);
void DOM_TextEvent_initModifier(DOM_TextEvent* event, uint32_t modifier, int value);
int DOM_TextEvent_checkModifier(const DOM_TextEvent* event, uint32_t modifier);
void DOM_MutationEvent_initMutationEvent(DOM_MutationEvent* event, const DOM_String* type,
                                         int bubbles, int cancelable, DOM_Node* related_node,
                                         const DOM_String* prev_value, const DOM_String* new_value,
                                         const DOM_String* attr_name, uint16_t attr_change);
void DOM_Event_stopPropagation(DOM_Event* event);
void DOM_Event_preventDefault(DOM_Event* event);

/// Registers a handler at a node; one that is registered already stays as it is. `type` is copied.
void DOM_EventTarget_addEventListener(DOM_Node* node, const DOM_String* type,
                                      DOM_EventListener* listener, DOM_EventHandler handler,
                                      int use_capture);
void DOM_EventTarget_removeEventListener(DOM_Node* node, const DOM_String* type,
                                         DOM_EventListener* listener, DOM_EventHandler handler,
                                         int use_capture);

/// Return the slots of a node's listeners, and what stands in one of them: a listener, borrowed, or
/// null when the slot is empty or there is no such slot.
uint32_t DOM_EventTarget_listenerCount(const DOM_Node* node);
const DOM_ListenerEntry* DOM_EventTarget_listener(const DOM_Node* node, uint32_t slot);

/// Dispatches an event at a node: capture, target, bubble. Handlers may add and remove listeners
/// meanwhile. Returns 0 when the default was prevented, else 1, also on failure.
int DOM_EventTarget_dispatchEvent(DOM_Node* node, DOM_Event* event);

/// Dispatches the pending DOMSubtreeModified, if there is one.
void DOM_MutationEvent_processSubtreeModified(DOM_Document* document);

/// Notes that the tree below `node` changed, for processSubtreeModified.
void updateCommonParent(DOM_Node* node);

#endif
