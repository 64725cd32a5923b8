// Destruction of nodes.
#include "dom/dom.h"
#include "dom/freeing.h"
#include "dom/node_records.h"
#include "dom/operation.h"
#include "dom/walks.h"

using namespace qvx::dom;

void DOM_Document_destroyNode(DOM_Document* document, DOM_Node* node) {
  if (node == nullptr) {
    return;
  }
  DOM_Document* const survivor = document != node && IsDocument(document) ? document : nullptr;
  if (!PutAside(node)) {
    node->nextSibling = nullptr;
    FreeNodes(node, survivor);
    return;
  }
  if (survivor != nullptr && IsWithin(node, DOM_DocumentPart(survivor).commonParent)) {
    DOM_DocumentPart(survivor).commonParent = nullptr;
  }
}
