#include <libxml/parser.h>
#include <libxml/tree.h>

#include "bench/documents.h"

namespace qvx::bench {
namespace {

const xmlChar* In(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}

const char* Out(const xmlChar* text) {
  return reinterpret_cast<const char*>(text);
}

class Libxml2 {
 public:
  using Node = xmlNode*;
  static constexpr char kName[] = "libxml2";

  bool Load(const std::string& path) {
    document_.reset(xmlReadFile(path.c_str(), nullptr, XML_PARSE_HUGE | XML_PARSE_NOENT));
    return document_ != nullptr;
  }
  bool Save(const std::string& path) { return xmlSaveFile(path.c_str(), document_.get()) >= 0; }
  void Free() { document_.reset(); }

  Node Root() { return xmlDocGetRootElement(document_.get()); }
  static Node FirstChild(Node node) { return node->children; }
  static Node NextSibling(Node node) { return node->next; }
  static Node Parent(Node node) { return node->parent; }
  static int TypeOf(Node node) { return node->type; }
  static const char* Name(Node node) { return Out(node->name); }
  static std::string_view Value(Node node) { return Out(node->content); }
  static size_t AttributeCount(Node node) {
    size_t count = 0;
    for (const xmlAttr* attribute = node->properties; attribute; attribute = attribute->next) {
      ++count;
    }
    return count;
  }
  static size_t AttributeLength(Node node, const char* name) {
    const std::unique_ptr<xmlChar, void (*)(void*)> value(xmlGetProp(node, In(name)), xmlFree);
    return std::string_view(Out(value.get())).size();
  }

  Node NewElement(const char* name) {
    return xmlNewDocNode(document_.get(), nullptr, In(name), nullptr);
  }
  static void Append(Node parent, Node node) { xmlAddChild(parent, node); }
  static void InsertBefore(Node, Node node, Node reference) { xmlAddPrevSibling(reference, node); }
  static void Replace(Node, Node node, Node old) { xmlFreeNode(xmlReplaceNode(old, node)); }
  static void Remove(Node, Node node) {
    xmlUnlinkNode(node);
    xmlFreeNode(node);
  }
  static void SetAttribute(Node node, const char* name, const char* value) {
    xmlSetProp(node, In(name), In(value));
  }
  static void SetText(Node node, const char* text) { xmlNodeSetContent(node->children, In(text)); }
  void AppendClone(Node node) { xmlAddChild(node, xmlDocCopyNode(node, document_.get(), 1)); }

 private:
  std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document_{nullptr, xmlFreeDoc};
};

const bool kAdded = AddModel<Libxml2>();

}  // namespace
}  // namespace qvx::bench
