// A node is made in one block together with copies of its texts. So the texts are measured first.
// An undecodable one is found before there is a node that would have to be destroyed.
#include "dom/factories.h"

#include <cerrno>
#include <cstring>

#include "dom/failure.h"
#include "dom/handles.h"
#include "dom/node_memory.h"
#include "support/mbs.h"
#include "support/trace_modules.h"

namespace qvx::dom {
namespace {

constexpr const char* kModule = qvx::trace_modules::kDom;
constexpr char kCreateNode[] = "Document_createNode";

/// Whether a node of that type may be made in `document`; records why not.
bool MayBeMade(const DOM_Document* document, uint16_t node_type) {
  RegisterCodes();
  if (document == nullptr && node_type != DOM_DOCUMENT_NODE &&
      node_type != DOM_DOCUMENT_TYPE_NODE) {
    FailDetails({kModule, kCreateNode}, kNullParameter, "doc=NULL,nodeType=%u",
                unsigned{node_type});
    return false;
  }
  if (node_type < DOM_ELEMENT_NODE || node_type > DOM_NOTATION_NODE) {
    Fail({kModule, kCreateNode}, DOM_NOT_SUPPORTED_ERR);
    return false;
  }
  return true;
}

void ReportUnallocated() {
  FailErrno({kModule, kCreateNode});
}

/// Hands on a node that was to be made; records why there is none.
DOM_Node* Allocated(DOM_Node* node) {
  if (node == nullptr) {
    ReportUnallocated();
  }
  return node;
}

/// Measures a text that the factory is to copy; records why it cannot.
bool Measure(const char* factory, const DOM_String* text, MeasuredText& measured) {
  if (MeasureText(text, measured)) {
    return true;
  }
  FailErrno({kModule, factory});
  return false;
}

/// Hands on what a factory made, with the trace line of the factory when it made nothing.
DOM_Node* Made(const char* factory, DOM_Node* node) {
  if (node == nullptr) {
    TracePropagation({kModule, factory});
  }
  return node;
}

using Maker = DOM_Node* (*)(DOM_Document* document, uint16_t node_type, MeasuredText text);

/// What `make` makes with a copy of `text`; null, recorded with a line of the factory, when it
/// cannot be made. A factory hands on its name and not a site, which would be built at every call.
DOM_Node* Create(const char* factory, Maker make, DOM_Document* document, uint16_t node_type,
                 const DOM_String* text) {
  if (!MayBeMade(document, node_type)) {
    return Made(factory, nullptr);
  }
  MeasuredText measured;
  return Measure(factory, text, measured)
             ? Made(factory, Allocated(make(document, node_type, measured)))
             : nullptr;
}

DOM_Attr* NewEmptyAttribute(DOM_Document* document, uint16_t /*node_type*/, MeasuredText name) {
  return NewAttribute(document, name, {"", 1, 0});
}

}  // namespace

void ReportUnmade(const char* factory) {
  ReportUnallocated();
  TracePropagation({kModule, factory});
}

bool CopyTextIfAny(const TraceSite& site, const DOM_String* text, DOM_String*& copy) {
  copy = text != nullptr ? mbsdup(text) : nullptr;
  if (text != nullptr && copy == nullptr) {
    FailErrno(site);
    return false;
  }
  return true;
}

DOM_Attr* MakeAttribute(DOM_Document* document, MeasuredText name, MeasuredText value) {
  return Allocated(NewAttribute(document, name, value));
}

}  // namespace qvx::dom

using namespace qvx::dom;
using qvx::DocumentHolder;
using qvx::NodeHolder;
using qvx::TracePropagation;

DOM_Node* Document_createNode(DOM_Document* document, uint16_t node_type) {
  return MayBeMade(document, node_type) ? Allocated(NewNode(document, node_type)) : nullptr;
}

DOM_Element* DOM_Document_createElement(DOM_Document* document, const DOM_String* tag_name) {
  return Create(__func__, NewNamedNode, document, DOM_ELEMENT_NODE, tag_name);
}

DOM_Attr* DOM_Document_createAttribute(DOM_Document* document, const DOM_String* name) {
  return Create(__func__, NewEmptyAttribute, document, DOM_ATTRIBUTE_NODE, name);
}

DOM_Text* DOM_Document_createTextNode(DOM_Document* document, const DOM_String* data) {
  return Create(__func__, NewCharacterData, document, DOM_TEXT_NODE, data);
}

DOM_CDATASection* DOM_Document_createCDATASection(DOM_Document* document, const DOM_String* data) {
  return Create(__func__, NewCharacterData, document, DOM_CDATA_SECTION_NODE, data);
}

DOM_Comment* DOM_Document_createComment(DOM_Document* document, const DOM_String* data) {
  return Create(__func__, NewCharacterData, document, DOM_COMMENT_NODE, data);
}

DOM_ProcessingInstruction* DOM_Document_createProcessingInstruction(DOM_Document* document,
                                                                    const DOM_String* target,
                                                                    const DOM_String* data) {
  if (!MayBeMade(document, DOM_PROCESSING_INSTRUCTION_NODE)) {
    return Made(__func__, nullptr);
  }
  MeasuredText name;
  MeasuredText value;
  if (!Measure(__func__, target, name) || !Measure(__func__, data, value)) {
    return nullptr;
  }
  return Made(__func__, Allocated(NewInstruction(document, name, value)));
}

DOM_EntityReference* DOM_Document_createEntityReference(DOM_Document* document,
                                                        const DOM_String* name) {
  return Create(__func__, NewNamedNode, document, DOM_ENTITY_REFERENCE_NODE, name);
}

DOM_DocumentFragment* DOM_Document_createDocumentFragment(DOM_Document* document) {
  DOM_Node* fragment = Made(__func__, Document_createNode(document, DOM_DOCUMENT_FRAGMENT_NODE));
  if (fragment != nullptr) {
    fragment->nodeName = "#document-fragment";
  }
  return fragment;
}

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
  NodeHolder doctype(
      Create(__func__, NewNamedNode, nullptr, DOM_DOCUMENT_TYPE_NODE, qualified_name), {nullptr});
  if (doctype == nullptr) {
    return nullptr;
  }
  DOM_DocumentTypeFields& fields = DOM_DocumentTypePart(doctype.get());
  if (!CopyTextIfAny({kModule, __func__}, public_id, fields.publicId) ||
      !CopyTextIfAny({kModule, __func__}, system_id, fields.systemId)) {
    return nullptr;
  }
  return doctype.release();
}
