// The documents that name a node of another document. Internal to the document model.
//
// A node may outlive its document. So a node that is freed finds the documents that name it here,
// and not in its tree. The cost does not depend on the number of documents.
#ifndef QVX_DOM_LIVE_DOCUMENTS_H
#define QVX_DOM_LIVE_DOCUMENTS_H

#include "dom/node_records.h"

namespace qvx::dom {

/// Makes room for one more document in the index. Returns false with errno set when memory ran out.
bool AddDocument();

/// Takes the room of a document, which is not in the index.
void RemoveDocument();

/// Put a document into the index by the node that it names, and take it out again.
void IndexDocument(DocumentNode* document);
void UnindexDocument(const DocumentNode* document);

/// A document in the index that names `node`, or null.
DocumentNode* IndexedDocument(const DOM_Node* node);

}  // namespace qvx::dom

#endif
