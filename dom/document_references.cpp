#include "dom/document_references.h"

#include "dom/node_records.h"

namespace qvx::dom {
namespace {

/// A clone that was named until now is so no longer.
void NameDoctype(DOM_Document* document, DOM_DocumentType* doctype) {
  DOM_Node*& named = DOM_DocumentPart(document).doctype;
  if (named != nullptr) {
    static_cast<DocumentTypeNode*>(named)->namer = nullptr;
  }
  named = doctype;
}

}  // namespace

void NameChild(DOM_Document* document, DOM_Node* child) {
  if (child->nodeType == DOM_ELEMENT_NODE) {
    DOM_DocumentPart(document).documentElement = child;
  }
  if (child->nodeType == DOM_DOCUMENT_TYPE_NODE) {
    UnnameClone(child);
    NameDoctype(document, child);
    child->ownerDocument = document;
  }
}

void UnnameChild(DOM_Document* document, DOM_Node* child) {
  if (child->nodeType == DOM_ELEMENT_NODE) {
    DOM_DocumentPart(document).documentElement = nullptr;
  }
  if (child->nodeType == DOM_DOCUMENT_TYPE_NODE) {
    NameDoctype(document, nullptr);
    child->ownerDocument = nullptr;
  }
}

void NameClone(DOM_Document* document, DOM_DocumentType* clone) {
  NameDoctype(document, clone);
  static_cast<DocumentTypeNode*>(clone)->namer = document;
  clone->ownerDocument = document;
}

void UnnameClone(DOM_DocumentType* doctype) {
  DOM_Document* const namer = static_cast<DocumentTypeNode*>(doctype)->namer;
  if (namer == nullptr) {
    return;
  }
  DOM_Node* child = namer->firstChild;
  while (child != nullptr && (child->nodeType != DOM_DOCUMENT_TYPE_NODE || child == doctype)) {
    child = child->nextSibling;
  }
  NameDoctype(namer, child);
}

void ReleaseClone(DOM_Document* document) {
  DOM_DocumentType* const named = DOM_DocumentPart(document).doctype;
  if (named != nullptr && static_cast<DocumentTypeNode*>(named)->namer == document) {
    NameDoctype(document, nullptr);
    named->ownerDocument = nullptr;
  }
}

void ForgetNode(DOM_Document* document, const DOM_Node* node) {
  DOM_DocumentFields& fields = DOM_DocumentPart(document);
  if (fields.documentElement == node) {
    fields.documentElement = nullptr;
  }
  if (fields.commonParent == node) {
    fields.commonParent = nullptr;
  }
  if (fields.doctype == node) {
    fields.doctype = nullptr;
  }
}

}  // namespace qvx::dom
