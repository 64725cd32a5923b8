// The nodes that a document names: its document element, its document type and the common parent of
// changes. Internal to the document model.
//
// The doctype field names the document type that is a child of the document. It names a clone of
// that instead, which is no child, until the clone or the document is freed or the clone enters
// another document.
#ifndef QVX_DOM_DOCUMENT_REFERENCES_H
#define QVX_DOM_DOCUMENT_REFERENCES_H

#include "dom/dom.h"

namespace qvx::dom {

/// Names `child`, a new child of `document`, if it is the element or the document type. A document
/// type then belongs to the document.
void NameChild(DOM_Document* document, DOM_Node* child);

/// Ends the naming of `child`, which has left `document`. A document type then belongs to no
/// document.
void UnnameChild(DOM_Document* document, DOM_Node* child);

/// Lets the doctype field of `document` name a clone that is no child of it.
void NameClone(DOM_Document* document, DOM_DocumentType* clone);

/// If a document names this clone, its doctype field names the document's child again.
void UnnameClone(DOM_DocumentType* doctype);

/// Takes the owner from the clone that `document` names. `document` is about to be freed.
void ReleaseClone(DOM_Document* document);

/// Ends every naming of a node that is about to be freed.
void ForgetNode(DOM_Document* document, const DOM_Node* node);

}  // namespace qvx::dom

#endif
