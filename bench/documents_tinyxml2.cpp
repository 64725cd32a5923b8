#include <tinyxml2.h>

#include "bench/documents.h"

namespace qvx::bench {
namespace {

class Tinyxml2 {
 public:
  using Node = tinyxml2::XMLNode*;
  static constexpr char kName[] = "tinyxml2";

  bool Load(const std::string& path) {
    return document_.LoadFile(path.c_str()) == tinyxml2::XML_SUCCESS;
  }
  bool Save(const std::string& path) {
    return document_.SaveFile(path.c_str(), true) == tinyxml2::XML_SUCCESS;
  }
  void Free() { document_.Clear(); }

  Node Root() { return document_.RootElement(); }
  static Node FirstChild(Node node) { return node->FirstChild(); }
  static Node NextSibling(Node node) { return node->NextSibling(); }
  static Node Parent(Node node) { return node->Parent(); }
  static int TypeOf(Node node) {
    if (node->ToElement() != nullptr) {
      return kElement;
    }
    return node->ToText() != nullptr ? kText : kComment;
  }
  static const char* Name(Node node) { return node->Value(); }
  static std::string_view Value(Node node) { return node->Value(); }
  static size_t AttributeCount(Node node) {
    size_t count = 0;
    for (auto one = node->ToElement()->FirstAttribute(); one != nullptr; one = one->Next()) {
      ++count;
    }
    return count;
  }
  static size_t AttributeLength(Node node, const char* name) {
    return std::string_view(node->ToElement()->Attribute(name)).size();
  }

  Node NewElement(const char* name) { return document_.NewElement(name); }
  static void Append(Node parent, Node node) { parent->InsertEndChild(node); }
  // There is only an insertion behind another child, or in front of all.
  static void InsertBefore(Node parent, Node node, Node reference) {
    if (Node previous = reference->PreviousSibling()) {
      parent->InsertAfterChild(previous, node);
    } else {
      parent->InsertFirstChild(node);
    }
  }
  static void Replace(Node parent, Node node, Node old) {
    InsertBefore(parent, node, old);
    parent->DeleteChild(old);
  }
  static void Remove(Node parent, Node node) { parent->DeleteChild(node); }
  static void SetAttribute(Node node, const char* name, const char* value) {
    node->ToElement()->SetAttribute(name, value);
  }
  static void SetText(Node node, const char* text) { node->FirstChild()->SetValue(text); }
  void AppendClone(Node node) { node->InsertEndChild(node->DeepClone(&document_)); }

 private:
  tinyxml2::XMLDocument document_;
};

// It knows neither declared entities nor instructions within an element, and refuses deep
// documents.
const bool kAdded = AddModel<Tinyxml2>("deep entities mixed");

}  // namespace
}  // namespace qvx::bench
