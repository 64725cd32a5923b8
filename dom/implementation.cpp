// Documents and document types (DOM Level 2 Core, interface DOMImplementation).
#include "dom/dom.h"
#include "dom/factories.h"
#include "dom/failure.h"
#include "dom/handles.h"
#include "support/mbs.h"
#include "support/trace_modules.h"

using namespace qvx::dom;
using qvx::DocumentHolder;
using qvx::NodeHolder;
using qvx::TracePropagation;
using qvx::TraceSite;

namespace {

constexpr const char* kModule = qvx::trace_modules::kDom;

/// A private copy of an id that may be missing; false, recorded, when it cannot be copied.
bool CopyId(const TraceSite& site, const DOM_String* id, DOM_String*& copy) {
  if (id == nullptr) {
    return true;
  }
  copy = mbsdup(id);
  if (copy != nullptr) {
    return true;
  }
  FailErrno(site);
  return false;
}

}  // namespace

int DOM_Implementation_hasFeature(const DOM_String* /*feature*/, const DOM_String* /*version*/) {
  return 0;
}

DOM_Document* DOM_Implementation_createDocument(const DOM_String* /*namespace_uri*/,
                                                const DOM_String* /*qualified_name*/,
                                                DOM_DocumentType* doctype) {
  DocumentHolder document(Document_createNode(nullptr, DOM_DOCUMENT_NODE));
  if (document == nullptr) {
    TracePropagation({kModule, __func__});
    return nullptr;
  }
  document->nodeName = "#document";
  if (doctype == nullptr) {
    return document.release();
  }
  // A document takes children of any document, so nobody else would refuse another kind of node
  // here.
  if (doctype->nodeType != DOM_DOCUMENT_TYPE_NODE) {
    Fail({kModule, __func__}, DOM_HIERARCHY_REQUEST_ERR);
    return nullptr;
  }
  if (DOM_Node_appendChild(document.get(), doctype) == nullptr) {
    TracePropagation({kModule, __func__});
    return nullptr;
  }
  return document.release();
}

DOM_DocumentType* DOM_Implementation_createDocumentType(const DOM_String* qualified_name,
                                                        const DOM_String* public_id,
                                                        const DOM_String* system_id) {
  NodeHolder doctype(CreateNamed(__func__, nullptr, DOM_DOCUMENT_TYPE_NODE, qualified_name),
                     {nullptr});
  if (doctype == nullptr) {
    return nullptr;
  }
  DOM_DocumentTypeFields& fields = DOM_DocumentTypePart(doctype.get());
  if (!CopyId({kModule, __func__}, public_id, fields.publicId) ||
      !CopyId({kModule, __func__}, system_id, fields.systemId)) {
    return nullptr;
  }
  return doctype.release();
}
