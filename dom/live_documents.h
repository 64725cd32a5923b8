// The documents that are not freed yet, by what they name that is not theirs. Internal to the
// document model.
//
// A node may outlive its document, so a node that is freed cannot ask the documents of its tree
// whether they name it. Those that name a node of another document are found here, however many
// documents there are.
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
