// Look-up by tag name (DOM Level 2 Core, interfaces Document and Element).
#include <cstring>

#include "dom/dom.h"
#include "dom/failure.h"
#include "dom/lists.h"
#include "dom/names.h"
#include "dom/node_records.h"
#include "dom/walks.h"
#include "support/trace.h"
#include "support/trace_modules.h"

using namespace qvx::dom;

namespace {

constexpr const char* kModule = qvx::trace_modules::kNode;

/// The tag name that a look-up asks for.
class WantedName {
 public:
  explicit WantedName(const DOM_String* name)
      : name_(name), any_(std::strcmp(name, "*") == 0), by_bytes_(NamesCompareByBytes()) {}

  bool Matches(const DOM_Node* element) const {
    const DOM_String* const name = element->nodeName;
    if (any_ || name == nullptr) {
      return any_;
    }
    return by_bytes_ ? std::strcmp(name, name_) == 0 : NamesEqual(name, name_);
  }

 private:
  const DOM_String* name_;
  bool any_;
  bool by_bytes_;
};

/// Appends the matching elements of the subtree of `root`, from `node` on, in document order.
/// Elements below nodes that are no elements are not looked at.
void CollectElements(NodeList* found, const DOM_Node* root, DOM_Node* node,
                     const WantedName& name) {
  while (node != nullptr) {
    if (node->nodeType != DOM_ELEMENT_NODE) {
      node = NextAfterSubtree(root, node);
      continue;
    }
    if (name.Matches(node)) {
      PutLast(found, node);
    }
    node = NextInPreorder(root, node);
  }
}

NodeList* ElementsByTagName(const qvx::TraceSite& site, DOM_Document* document,
                            const DOM_Node* root, DOM_Node* first, const DOM_String* name) {
  NodeList* const found = Document_createNodeList(document);
  if (found != nullptr &&
      HasMemoryFor([&] { CollectElements(found, root, first, WantedName(name)); })) {
    return found;
  }
  if (found != nullptr) {
    FailErrno({qvx::trace_modules::kNodeList, "NodeList_append"});
  }
  DOM_Document_destroyNodeList(document, found, 0);
  qvx::TracePropagation(site);
  return nullptr;
}

}  // namespace

NodeList* DOM_Document_getElementsByTagName(DOM_Document* document, const DOM_String* name) {
  if (!IsDocument(document) || name == nullptr) {
    return nullptr;
  }
  DOM_Node* const root = DOM_DocumentPart(document).documentElement;
  return ElementsByTagName({kModule, __func__}, document, root, root, name);
}

NodeList* DOM_Element_getElementsByTagName(DOM_Element* element, const DOM_String* name) {
  if (element == nullptr || element->nodeType != DOM_ELEMENT_NODE || name == nullptr) {
    return nullptr;
  }
  return ElementsByTagName({kModule, __func__}, element->ownerDocument, element,
                           element->firstChild, name);
}
