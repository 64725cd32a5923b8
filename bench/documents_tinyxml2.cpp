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
  Tally Count() {
    Tally tally;
    for (Node node = Root(); node != nullptr; node = Following(node)) {
      tally.comments += node->ToComment() != nullptr ? 1 : 0;
      tally.instructions += node->ToDeclaration() != nullptr ? 1 : 0;
      tally.AddText(node->ToText() != nullptr ? node->Value() : "");
      if (const tinyxml2::XMLElement* element = node->ToElement()) {
        ++tally.elements;
        for (auto attribute = element->FirstAttribute(); attribute; attribute = attribute->Next()) {
          ++tally.attributes;
        }
      }
    }
    return tally;
  }

  size_t FirstText(const char* name) {
    Node node = Root();
    while (!IsCalled(node, name)) {
      node = Following(node);
    }
    return std::string_view(node->FirstChild()->Value()).size();
  }
  size_t CountByName(const char* name) {
    size_t count = 0;
    for (Node node = Root(); node != nullptr; node = Following(node)) {
      count += IsCalled(node, name) ? 1 : 0;
    }
    return count;
  }
  size_t VisitByIndex() {
    size_t count = 0;
    for (Node node = Root()->FirstChild(); node != nullptr; node = node->NextSibling()) {
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
  static bool IsCalled(Node node, const char* name) {
    return node->ToElement() != nullptr && std::string_view(node->Value()) == name;
  }
  Node Following(Node node) {
    if (node->FirstChild() != nullptr) {
      return node->FirstChild();
    }
    const Node root = Root();
    while (node != root && node->NextSibling() == nullptr) {
      node = node->Parent();
    }
    return node == root ? nullptr : node->NextSibling();
  }

  tinyxml2::XMLDocument document_;
};

// It knows neither declared entities nor instructions within an element, and refuses deep
// documents.
const bool kAdded = AddModel<Tinyxml2>("deep entities mixed");

}  // namespace
}  // namespace qvx::bench
