// The documents that are not freed yet. Internal to the document model.
//
// A node may outlive its document, so what is freed finds the documents here and not by its
// ownerDocument.
#ifndef QVX_DOM_LIVE_DOCUMENTS_H
#define QVX_DOM_LIVE_DOCUMENTS_H

#include "dom/node_records.h"

namespace qvx::dom {

/// The first document of the chain by next_live; null when there is none.
DocumentNode* FirstLiveDocument();

void AddToLive(DocumentNode* document);
void RemoveFromLive(DocumentNode* document);

}  // namespace qvx::dom

#endif
