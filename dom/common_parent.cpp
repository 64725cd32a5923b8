#include "dom/common_parent.h"

#include "dom/live_documents.h"
#include "dom/node_records.h"

namespace qvx::dom {
namespace {

constexpr uint64_t kMarkBits = ~uint64_t{0} >> 2;

uint64_t CurrentMark(const DOM_Document* document) {
  return static_cast<const DocumentNode*>(document)->current_mark;
}

void MoveMarkOn(DOM_Document* document) {
  ++static_cast<DocumentNode*>(document)->current_mark;
}

/// What the document model keeps of a node that may have children.
ParentNode* ParentRecord(DOM_Node* node) {
  return static_cast<ParentNode*>(node);
}

/// The next node in preorder whose flag and whose ancestors' flags below `root` are set.
DOM_Node* NextFlagged(const DOM_Node* root, const DOM_Node* node) {
  for (DOM_Node* child = node->firstChild; child != nullptr; child = child->nextSibling) {
    if (child->subtreeModified != 0) {
      return child;
    }
  }
  for (; node != root; node = node->parentNode) {
    for (DOM_Node* sibling = node->nextSibling; sibling != nullptr;
         sibling = sibling->nextSibling) {
      if (sibling->subtreeModified != 0) {
        return sibling;
      }
    }
  }
  return nullptr;
}

/// Only whole paths are marked. At a node that takes no notes, ForgetPath could not tell that the
/// path breaks.
void MarkPath(DOM_Node* from, const DOM_Node* to, DOM_Document* document) {
  for (const DOM_Node* node = from; node != to; node = node->parentNode) {
    if (!TakesNotes(node, document)) {
      return;
    }
  }
  for (; from != to; from = from->parentNode) {
    ParentRecord(from)->path_mark = CurrentMark(document) & kMarkBits;
  }
}

void Unname(DocumentNode* document) {
  if (document->named == nullptr) {
    return;
  }
  if (document->is_indexed != 0) {
    UnindexDocument(document);
  } else {
    ParentRecord(document->named)->is_named_by_owner = 0;
  }
  document->named = nullptr;
}

void Name(DocumentNode* document, DOM_Node* node) {
  document->named = node;
  document->is_indexed = TakesNotes(node, document) ? 0 : 1;
  if (document->is_indexed != 0) {
    ParentRecord(node)->has_been_named_by_others = 1;
    IndexDocument(document);
  } else {
    ParentRecord(node)->is_named_by_owner = 1;
  }
}

void SetCommonParent(DOM_Document* document, DOM_Node* node) {
  auto* record = static_cast<DocumentNode*>(document);
  Unname(record);
  record->commonParent = node;
  MoveMarkOn(document);
  if (node != nullptr && node->childNodes != nullptr) {
    Name(record, node);
  }
}

void ForgetNamed(DocumentNode* document) {
  if (document->commonParent == document->named) {
    document->commonParent = nullptr;
  }
  Unname(document);
}

}  // namespace

void ForgetPath(DOM_Node* node) {
  DOM_Document* const document = node->ownerDocument;
  if (document != nullptr && LeadsToCommonParent(node, document)) {
    MoveMarkOn(document);
  }
}

void ForgetCommonParent(DOM_Node* node) {
  if (node->childNodes == nullptr) {
    return;
  }
  if (ParentRecord(node)->is_named_by_owner != 0) {
    ForgetNamed(static_cast<DocumentNode*>(IsDocument(node) ? node : node->ownerDocument));
  }
  if (ParentRecord(node)->has_been_named_by_others == 0) {
    return;
  }
  while (DocumentNode* const document = IndexedDocument(node)) {
    ForgetNamed(document);
  }
}

void ForgetDocument(DOM_Document* document) {
  Unname(static_cast<DocumentNode*>(document));
  RemoveDocument();
}

DOM_Node* TakeCommonParent(DOM_Document* document) {
  DOM_Node* const common_parent = DOM_DocumentPart(document).commonParent;
  if (common_parent == nullptr) {
    return nullptr;
  }
  document->subtreeModified = 0;
  for (DOM_Node* node = NextFlagged(document, document); node != nullptr;
       node = NextFlagged(document, node)) {
    node->subtreeModified = 0;
  }
  SetCommonParent(document, nullptr);
  return common_parent;
}

}  // namespace qvx::dom

using namespace qvx::dom;

void updateCommonParent(DOM_Node* node) {
  if (node == nullptr || node->ownerDocument == nullptr) {
    return;
  }
  DOM_Document* const document = node->ownerDocument;
  const DOM_Node* const common_parent = DOM_DocumentPart(document).commonParent;
  if (common_parent == nullptr) {
    SetCommonParent(document, node);
    return;
  }
  DOM_Node* flagged_already = nullptr;
  for (DOM_Node* at = node; at != nullptr; at = at->parentNode) {
    if (at == common_parent || LeadsToCommonParent(at, document)) {
      MarkPath(node, at, document);
      return;
    }
    if (at->subtreeModified == 0) {
      at->subtreeModified = 1;
    } else if (flagged_already == nullptr) {
      flagged_already = at;
    }
  }
  SetCommonParent(document, flagged_already);
}
