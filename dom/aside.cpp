#include "dom/aside.h"

#include "dom/linking.h"

namespace qvx::dom {

ParentNode aside;

void SetUpAside() {
  aside.nodeName = "#destroyed";
  aside.nodeType = DOM_DOCUMENT_FRAGMENT_NODE;
  aside.childNodes = &aside;
}

void TakeBack(DOM_Node* node) {
  if (node->parentNode == &aside) {
    UnlinkChild(node);
  }
}

}  // namespace qvx::dom
