// Where DOMSubtreeModified is due: the bookkeeping of changes. Internal to the document model.
//
// All changes since the last notification lie below one node, the document's commonParent. Every
// node between a change and that node is flagged, and marked. A later walk up from a change ends at
// the first mark. So a tree of any depth is built at a constant cost for each node. A mark is the
// document's present number. When the number moves on, all marks are void.
//
// dom.h declares updateCommonParent, which notes a change.
#ifndef QVX_DOM_COMMON_PARENT_H
#define QVX_DOM_COMMON_PARENT_H

#include "dom/node_records.h"

namespace qvx::dom {

/// Returns whether the bookkeeping of `document` can leave a note on `node`. It cannot on a node of
/// another document, nor on a document type, which may go over to another document, nor on a
/// document that belongs to it.
inline bool TakesNotes(const DOM_Node* node, const DOM_Document* document) {
  return node == document ||
         (node->ownerDocument == document && node->childNodes != nullptr &&
          node->nodeType != DOM_DOCUMENT_TYPE_NODE && node->nodeType != DOM_DOCUMENT_NODE);
}

/// Returns whether an earlier walk went from `node` up to the present common parent. Another walk
/// would change nothing.
inline bool LeadsToCommonParent(const DOM_Node* node, const DOM_Document* document) {
  return node->subtreeModified != 0 && TakesNotes(node, document) &&
         static_cast<const ParentNode*>(node)->path_mark ==
             static_cast<const DocumentNode*>(document)->current_mark;
}

/// updateCommonParent, which is not even called when it would change nothing.
inline void NoteChange(DOM_Node* node) {
  if (node == nullptr || node->ownerDocument == nullptr ||
      !LeadsToCommonParent(node, node->ownerDocument)) {
    updateCommonParent(node);
  }
}

/// Voids the marks of the document if `node`, which is about to leave its parent, bears one.
void ForgetPath(DOM_Node* node);

/// Clears the commonParent of every document that names `node`, which is about to be freed.
void ForgetCommonParent(DOM_Node* node);

/// Takes up a document that was just made. Returns false with errno set when memory ran out.
bool AddDocument(DocumentNode* document);

/// Gives up a document that is about to be freed.
void ForgetDocument(DOM_Document* document);

/// Takes the flags off and the common parent out of `document`. Returns it; null when none is
/// pending.
DOM_Node* TakeCommonParent(DOM_Document* document);

}  // namespace qvx::dom

#endif
