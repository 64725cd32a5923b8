#include "dom/common_parent.h"

#include <utility>

#include "dom/failure.h"
#include "dom/model_state.h"

namespace qvx::dom {
namespace {

constexpr uint64_t kMarkBits = ~uint64_t{0} >> 1;

/// A document that names no node stands under an address of its own, so a change needs no memory.
const void* KeyOf(const DocumentNode* document) {
  return document->named != nullptr ? static_cast<const void*>(document->named)
                                    : &document->current_mark;
}

auto EntryOf(const DocumentNode* document) {
  auto entry = Model().documents.find(KeyOf(document));
  while (entry->second != document) {
    ++entry;
  }
  return entry;
}

void MoveMarkOn(DOM_Document* document) {
  ++static_cast<DocumentNode*>(document)->current_mark;
}

/// What the document model keeps of a node that may have children.
ParentNode* ParentRecord(DOM_Node* node) {
  return static_cast<ParentNode*>(node);
}

/// The first flagged node from `node` on among its siblings, or null.
DOM_Node* FirstFlagged(DOM_Node* node) {
  while (node != nullptr && node->subtreeModified == 0) {
    node = node->nextSibling;
  }
  return node;
}

/// The node after `node` in a preorder walk that enters flagged nodes only, or null at its end.
DOM_Node* NextFlagged(const DOM_Node* root, const DOM_Node* node) {
  DOM_Node* next = FirstFlagged(node->firstChild);
  for (; next == nullptr && node != root; node = node->parentNode) {
    next = FirstFlagged(node->nextSibling);
  }
  return next;
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
    ParentRecord(from)->path_mark = static_cast<DocumentNode*>(document)->current_mark & kMarkBits;
  }
}

/// `node` may be null.
void Name(DocumentNode* document, DOM_Node* node) {
  if (document->named == node) {
    return;
  }
  auto entry = Model().documents.extract(EntryOf(document));
  document->named = node;
  entry.key() = KeyOf(document);
  Model().documents.insert(std::move(entry));
  if (node != nullptr) {
    ParentRecord(node)->is_named = 1;
  }
}

void SetCommonParent(DOM_Document* document, DOM_Node* node) {
  DOM_DocumentPart(document).commonParent = node;
  MoveMarkOn(document);
  Name(static_cast<DocumentNode*>(document),
       node != nullptr && node->childNodes != nullptr ? node : nullptr);
}

}  // namespace

void ForgetPath(DOM_Node* node) {
  DOM_Document* const document = node->ownerDocument;
  if (document != nullptr && LeadsToCommonParent(node, document)) {
    MoveMarkOn(document);
  }
}

void ForgetCommonParent(DOM_Node* node) {
  if (node->childNodes == nullptr || ParentRecord(node)->is_named == 0) {
    return;
  }
  for (auto entry = Model().documents.find(node); entry != Model().documents.end();
       entry = Model().documents.find(node)) {
    DocumentNode* const document = entry->second;
    if (document->commonParent == node) {
      document->commonParent = nullptr;
    }
    Name(document, nullptr);
  }
}

bool AddDocument(DocumentNode* document) {
  return HasMemoryFor([&] { Model().documents.emplace(KeyOf(document), document); });
}

void ForgetDocument(DOM_Document* document) {
  Model().documents.erase(EntryOf(static_cast<DocumentNode*>(document)));
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
