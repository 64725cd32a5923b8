#include <iterator>
#include <pugixml.hpp>

#include "bench/documents.h"

namespace qvx::bench {
namespace {

class Pugixml {
 public:
  using Node = pugi::xml_node;
  static constexpr char kName[] = "pugixml";

  bool Load(const std::string& path) {
    return static_cast<bool>(
        document_.load_file(path.c_str(), pugi::parse_full | pugi::parse_ws_pcdata));
  }
  bool Save(const std::string& path) {
    return document_.save_file(path.c_str(), "", pugi::format_raw);
  }
  void Free() { document_.reset(); }

  Node Root() { return document_.document_element(); }
  static Node FirstChild(Node node) { return node.first_child(); }
  static Node NextSibling(Node node) { return node.next_sibling(); }
  static Node Parent(Node node) { return node.parent(); }
  static int TypeOf(Node node) {
    constexpr int kTypes[] = {kOther,   kOther,       kElement, kText, kCdata,
                              kComment, kInstruction, kOther,   kOther};
    return kTypes[node.type()];
  }
  static const char* Name(Node node) { return node.name(); }
  static std::string_view Value(Node node) { return node.value(); }
  static size_t AttributeCount(Node node) {
    const auto attributes = node.attributes();
    return static_cast<size_t>(std::distance(attributes.begin(), attributes.end()));
  }
  static size_t AttributeLength(Node node, const char* name) {
    return std::string_view(node.attribute(name).value()).size();
  }

  // This model makes a node in its place.
  struct Fresh {
    const char* name;
  };
  static Fresh NewElement(const char* name) { return {name}; }
  static void Append(Node parent, Fresh fresh) { parent.append_child(fresh.name); }
  static void InsertBefore(Node parent, Fresh fresh, Node reference) {
    parent.insert_child_before(fresh.name, reference);
  }
  static void Replace(Node parent, Fresh fresh, Node old) {
    InsertBefore(parent, fresh, old);
    parent.remove_child(old);
  }
  static void Remove(Node parent, Node node) { parent.remove_child(node); }
  static void SetAttribute(Node node, const char* name, const char* value) {
    pugi::xml_attribute attribute = node.attribute(name);
    (attribute ? attribute : node.append_attribute(name)).set_value(value);
  }
  static void SetText(Node node, const char* text) { node.first_child().set_value(text); }
  static void AppendClone(Node node) { node.append_copy(node); }

 private:
  pugi::xml_document document_;
};

const bool kAdded = AddModel<Pugixml>("entities");

}  // namespace
}  // namespace qvx::bench
