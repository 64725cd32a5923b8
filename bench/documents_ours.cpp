// The document model that is measured: as it is, and with one listener on the root.
#include <cstdlib>

#include "bench/documents.h"
#include "dom/handles.h"

namespace qvx::bench {
namespace {

class Ours {
 public:
  using Node = DOM_Node*;
  static constexpr char kName[] = "ours";

  bool Load(const std::string& path) {
    document_ = NewDocument();
    return DOM_DocumentLS_load(document_.get(), path.c_str()) == 1;
  }
  bool Save(const std::string& path) {
    return DOM_DocumentLS_save(document_.get(), path.c_str(), nullptr) == 0;
  }
  void Free() { document_.reset(); }

  Node Root() { return DOM_Document_getDocumentElement(document_.get()); }
  static Node FirstChild(Node node) { return node->firstChild; }
  static Node NextSibling(Node node) { return node->nextSibling; }
  static Node Parent(Node node) { return node->parentNode; }
  static int TypeOf(Node node) { return node->nodeType; }
  static const char* Name(Node node) { return node->nodeName; }
  static std::string_view Value(Node node) { return node->nodeValue; }
  static size_t AttributeCount(Node node) { return node->attributes->length; }

  Node FirstByName(const char* name) { return DOM_NodeList_item(ByName(name).get(), 0); }
  size_t CountByName(const char* name) { return ByName(name)->length; }
  static Node Child(Node node, size_t index) {
    return DOM_NodeList_item(node->childNodes, static_cast<int32_t>(index));
  }
  static size_t AttributeLength(Node node, const char* name) {
    const std::unique_ptr<char, decltype(&std::free)> value(DOM_Element_getAttribute(node, name),
                                                            &std::free);
    return std::string_view(value.get()).size();
  }

  Node NewElement(const char* name) { return DOM_Document_createElement(document_.get(), name); }
  static void Append(Node parent, Node node) { DOM_Node_appendChild(parent, node); }
  static void InsertBefore(Node parent, Node node, Node reference) {
    DOM_Node_insertBefore(parent, node, reference);
  }
  void Replace(Node parent, Node node, Node old) {
    DOM_Document_destroyNode(document_.get(), DOM_Node_replaceChild(parent, node, old));
  }
  void Remove(Node parent, Node node) {
    DOM_Document_destroyNode(document_.get(), DOM_Node_removeChild(parent, node));
  }
  static void SetAttribute(Node node, const char* name, const char* value) {
    DOM_Element_setAttribute(node, name, value);
  }
  static void SetText(Node node, const char* text) {
    DOM_Node_setNodeValue(node->firstChild, text);
  }
  static void AppendClone(Node node) { DOM_Node_appendChild(node, DOM_Node_cloneNode(node, 1)); }

 private:
  NodeListHolder ByName(const char* name) {
    return {DOM_Document_getElementsByTagName(document_.get(), name), {document_.get()}};
  }

  DocumentHolder document_;
};

class OursHeard : public Ours {
 public:
  static constexpr char kName[] = "ours-heard";

  void Hear(const char* event) {
    DOM_EventTarget_addEventListener(
        Root(), event, &heard_, [](void* heard, DOM_Event*) { ++*static_cast<size_t*>(heard); }, 0);
  }

 private:
  size_t heard_ = 0;
};

const bool kAdded = AddModel<Ours>();
const bool kHeardAdded = (AddChanges<OursHeard>(), true);

}  // namespace
}  // namespace qvx::bench
