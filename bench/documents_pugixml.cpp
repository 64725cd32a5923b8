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
  Tally Count() {
    Tally tally;
    for (Node node = Root(); node; node = Following(node)) {
      tally.elements += node.type() == pugi::node_element ? 1 : 0;
      tally.comments += node.type() == pugi::node_comment ? 1 : 0;
      tally.instructions += node.type() == pugi::node_pi ? 1 : 0;
      if (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata) {
        tally.AddText(node.value());
      }
      for (auto attribute = node.first_attribute(); attribute;
           attribute = attribute.next_attribute()) {
        ++tally.attributes;
      }
    }
    return tally;
  }

  size_t FirstText(const char* name) {
    Node node = Root();
    while (std::string_view(node.name()) != name) {
      node = Following(node);
    }
    return std::string_view(node.first_child().value()).size();
  }
  size_t CountByName(const char* name) {
    size_t count = 0;
    for (Node node = Root(); node; node = Following(node)) {
      count += std::string_view(node.name()) == name ? 1 : 0;
    }
    return count;
  }
  size_t VisitByIndex() {
    size_t count = 0;
    for (Node node = Root().first_child(); node; node = node.next_sibling()) {
      ++count;
    }
    return count;
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
    if (!attribute) {
      attribute = node.append_attribute(name);
    }
    attribute.set_value(value);
  }
  static void SetText(Node node, const char* text) { node.first_child().set_value(text); }
  static void AppendClone(Node node) { node.append_copy(node); }

 private:
  Node Following(Node node) const {
    if (node.first_child()) {
      return node.first_child();
    }
    const Node root = document_.document_element();
    while (node != root && !node.next_sibling()) {
      node = node.parent();
    }
    return node == root ? Node() : node.next_sibling();
  }

  pugi::xml_document document_;
};

const bool kAdded = AddModel<Pugixml>("entities");

}  // namespace
}  // namespace qvx::bench
