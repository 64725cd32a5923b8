// Owner types for what the document model hands to its caller.
#ifndef QVX_DOM_HANDLES_H
#define QVX_DOM_HANDLES_H

#include <memory>

#include "dom/dom.h"

namespace qvx {

struct DocumentDeleter {
  void operator()(DOM_Document* document) const { DOM_Document_destroyNode(document, document); }
};
/// A whole document.
using DocumentHolder = std::unique_ptr<DOM_Document, DocumentDeleter>;

struct NodeDeleter {
  DOM_Document* document;
  void operator()(DOM_Node* node) const { DOM_Document_destroyNode(document, node); }
};
/// A node that is in no tree.
using NodeHolder = std::unique_ptr<DOM_Node, NodeDeleter>;

struct NodeListDeleter {
  DOM_Document* document;
  void operator()(DOM_NodeList* list) const { DOM_Document_destroyNodeList(document, list, 0); }
};
/// A list without its nodes.
using NodeListHolder = std::unique_ptr<DOM_NodeList, NodeListDeleter>;

/// Returns a new, empty document to load a file into.
inline DocumentHolder NewDocument() {
  return DocumentHolder(DOM_Implementation_createDocument(nullptr, nullptr, nullptr));
}

}  // namespace qvx

#endif
