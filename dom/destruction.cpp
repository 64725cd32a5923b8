// Destruction of nodes and lists.
#include <cstdlib>

#include "dom/aside.h"
#include "dom/dom.h"
#include "dom/freeing.h"
#include "dom/list_changes.h"
#include "dom/lists.h"
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

void DOM_Document_destroyNodeList(DOM_Document* document, NodeList* list, int destroy_nodes) {
  if (list == nullptr) {
    return;
  }
  const bool are_destroyed_already = list == aside.childNodes && destroy_nodes != 0;
  if (IsView(list) || are_destroyed_already) {
    return;
  }
  while (destroy_nodes != 0 && FirstEntry(list) != nullptr) {
    DOM_Node* const node = NodeOf(list, FirstEntry(list));
    DropEntry(list, FirstEntry(list));
    DOM_Document_destroyNode(document, node);
  }
  ClearList(list);
  if (!IsPartOfNode(list)) {
    std::free(AsEntryList(list));
  }
}

void DOM_Document_destroyNamedNodeMap(DOM_Document* document, NamedNodeMap* map,
                                      int destroy_nodes) {
  DOM_Document_destroyNodeList(document, map, destroy_nodes);
}
