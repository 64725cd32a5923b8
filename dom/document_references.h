// What a document names: its document element, its document type and the common parent of changes.
// Internal to the document model.
//
// The doctype field names the document type that is a child of the document. The clone of a
// document type takes its place there without being a child, until the clone or the document is
// freed or the clone finds a document of its own.
#ifndef QVX_DOM_DOCUMENT_REFERENCES_H
#define QVX_DOM_DOCUMENT_REFERENCES_H

#include "dom/dom.h"

namespace qvx::dom {

/// Names `child`, which has become a child of `document`, if it is the element or the document
/// type. A document type goes over to the document.
void NameChild(DOM_Document* document, DOM_Node* child);

/// Lets `document` no longer name `child`, which has left it. A document type belongs to no
/// document then.
void UnnameChild(DOM_Document* document, DOM_Node* child);

/// Makes `document` (may be null) the owner of a document type and of its lists.
void SetDoctypeOwner(DOM_DocumentType* doctype, DOM_Document* document);

/// Lets the doctype field of `document` name a clone that is no child of it.
void NameClone(DOM_Document* document, DOM_DocumentType* clone);

/// Gives the doctype field of the document that names this clone, if there is one, back to the
/// document's child.
void UnnameClone(DOM_DocumentType* doctype);

/// Makes nobody the owner of the clone that `document`, which is about to be freed, names.
void ReleaseClone(DOM_Document* document);

/// Clears what `document` names of a node that is about to be freed.
void ForgetNode(DOM_Document* document, const DOM_Node* node);

}  // namespace qvx::dom

#endif
