#include <libxml/parser.h>
#include <libxml/tree.h>

#include <memory>

#include "bench/documents.h"

namespace qvx::bench {
namespace {

struct DocumentFree {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
struct TextFree {
  void operator()(xmlChar* text) const { xmlFree(text); }
};

const xmlChar* In(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}

std::string_view Out(const xmlChar* text) {
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
  Tally Count() {
    Tally tally;
    for (const xmlNode* node = Root(); node != nullptr; node = Following(node)) {
      tally.comments += node->type == XML_COMMENT_NODE ? 1 : 0;
      tally.instructions += node->type == XML_PI_NODE ? 1 : 0;
      if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) {
        tally.AddText(Out(node->content));
      }
      if (node->type == XML_ELEMENT_NODE) {
        ++tally.elements;
        for (const xmlAttr* attribute = node->properties; attribute; attribute = attribute->next) {
          ++tally.attributes;
        }
      }
    }
    return tally;
  }

  size_t FirstText(const char* name) {
    const xmlNode* node = Root();
    while (!IsCalled(node, name)) {
      node = Following(node);
    }
    return Out(node->children->content).size();
  }
  size_t CountByName(const char* name) {
    size_t count = 0;
    for (const xmlNode* node = Root(); node != nullptr; node = Following(node)) {
      count += IsCalled(node, name) ? 1 : 0;
    }
    return count;
  }
  size_t VisitByIndex() {
    size_t count = 0;
    for (const xmlNode* node = Root()->children; node != nullptr; node = node->next) {
      ++count;
    }
    return count;
  }
  static size_t AttributeLength(Node node, const char* name) {
    const std::unique_ptr<xmlChar, TextFree> value(xmlGetProp(node, In(name)));
    return Out(value.get()).size();
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
  static bool IsCalled(const xmlNode* node, const char* name) {
    return node->type == XML_ELEMENT_NODE && xmlStrEqual(node->name, In(name)) != 0;
  }
  const xmlNode* Following(const xmlNode* node) {
    if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
      return node->children;
    }
    const xmlNode* root = Root();
    while (node != root && node->next == nullptr) {
      node = node->parent;
    }
    return node == root ? nullptr : node->next;
  }

  std::unique_ptr<xmlDoc, DocumentFree> document_;
};

const bool kAdded = AddModel<Libxml2>();

}  // namespace
}  // namespace qvx::bench
