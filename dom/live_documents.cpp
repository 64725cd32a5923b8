#include "dom/live_documents.h"

#include "dom/chain.h"

namespace qvx::dom {
namespace {

Chain<DocumentNode, &DocumentNode::previous_live, &DocumentNode::next_live> live_documents;

}  // namespace

DocumentNode* FirstLiveDocument() {
  return live_documents.first;
}

void AddToLive(DocumentNode* document) {
  live_documents.Insert(document, live_documents.first);
}

void RemoveFromLive(DocumentNode* document) {
  live_documents.Remove(document);
}

}  // namespace qvx::dom
