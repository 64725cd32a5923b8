// Linking nodes and walking over them. Internal to the document model; nothing here dispatches
// events.
#ifndef QVX_DOM_TREE_H
#define QVX_DOM_TREE_H

#include "dom/dom.h"

namespace qvx::dom {

/// Whether the hierarchy rules let `child` become a child of `parent`: the types fit, a document
/// gets no second element or document type, and no cycle arises. `replaced`, when given, is the
/// child that would make way; it frees the place of a document type, not that of an element.
bool MayHold(const DOM_Node* parent, const DOM_Node* child, const DOM_Node* replaced = nullptr);

/// Links `node`, which is in no child chain, under `parent` before `reference` (at the end when
/// that is null) and keeps the parent's list, its ends, a document's documentElement and doctype,
/// and a document type's views in step. A document type goes over to the document. Nothing is
/// checked.
void LinkChild(DOM_Node* parent, DOM_Node* node, DOM_Node* reference);

/// Unlinks `node` from its parent, everything kept in step likewise. A document type no longer
/// belongs to the document.
void UnlinkChild(DOM_Node* node);

/// Makes `document` (may be null) the owner of a document type and of its lists.
void SetDoctypeOwner(DOM_DocumentType* doctype, DOM_Document* document);

/// Lets the doctype field of `document` name a clone that is no child of it.
void NameClone(DOM_Document* document, DOM_DocumentType* clone);

/// Gives the doctype field of the document that names this clone, if there is one, back to the
/// document's child.
void UnnameClone(DOM_DocumentType* doctype);

/// What a document has to do for the clone that it names before it is freed.
void ReleaseClone(DOM_Document* document);

// Walks without a stack. One whose node has been moved out of the subtree meanwhile ends at the
// root of its new place.

/// The node after `node` in a preorder walk over the subtree of `root`, or null at its end.
DOM_Node* NextInPreorder(const DOM_Node* root, DOM_Node* node);

/// As NextInPreorder, without the descendants of `node`.
DOM_Node* NextAfterSubtree(const DOM_Node* root, DOM_Node* node);

/// The first node of a postorder walk over the subtree of `root`, and the one after `node` (null
/// after `root` itself).
DOM_Node* FirstInPostorder(DOM_Node* root);
DOM_Node* NextInPostorder(const DOM_Node* root, DOM_Node* node);

/// Whether `node` (may be null) is `root` or one of its descendants.
bool IsWithin(const DOM_Node* root, const DOM_Node* node);

/// Whether `node` is a text, a CDATA section or a comment.
inline bool IsCharacterData(const DOM_Node* node) {
  return node->nodeType == DOM_TEXT_NODE || node->nodeType == DOM_CDATA_SECTION_NODE ||
         node->nodeType == DOM_COMMENT_NODE;
}

/// What became of putting a node into a map.
enum class MapResult { kAdded, kReplaced, kRefused, kNoMemory };

/// DOM_NamedNodeMap_setNamedItem with a result that tells its nulls apart; `displaced` gets the
/// node that made way, which is `node` itself when it stood there already.
MapResult PutIntoMap(NamedNodeMap* map, DOM_Node* node, DOM_Node** displaced);

/// Appends an attribute whose name is known to be new to `map`. Returns false when memory ran out.
bool AppendToMap(NamedNodeMap* map, DOM_Attr* attribute);

/// Takes `node` itself, not one of its name, out of a map. Returns false when it is not there.
bool TakeOutOfMap(NamedNodeMap* map, DOM_Node* node);

}  // namespace qvx::dom

#endif
