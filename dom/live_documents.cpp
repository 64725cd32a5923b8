#include "dom/live_documents.h"

#include "dom/hash_index.h"

namespace qvx::dom {
namespace {

size_t HashOf(const DocumentNode& document) {
  return HashOfAddress(document.named);
}

size_t document_count = 0;
HashIndex<DocumentNode, HashOf> documents;

}  // namespace

bool AddDocument() {
  if (!documents.Reserve(document_count + 1)) {
    return false;
  }
  ++document_count;
  return true;
}

void RemoveDocument() {
  if (--document_count == 0) {
    documents.Clear();
  }
}

void IndexDocument(DocumentNode* document) {
  documents.Insert(document);
}

void UnindexDocument(const DocumentNode* document) {
  documents.Remove(document);
}

DocumentNode* IndexedDocument(const DOM_Node* node) {
  return documents.Find(HashOfAddress(node),
                        [&](const DocumentNode& document) { return document.named == node; });
}

}  // namespace qvx::dom
