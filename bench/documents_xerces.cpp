#include <cstring>
#include <unordered_map>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/LocalFileFormatTarget.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include "bench/documents.h"

namespace qvx::bench {
namespace {

namespace xc = xercesc;

struct Release {
  template <typename T>
  void operator()(T* object) const {
    object->release();
  }
};

class Xerces {
 public:
  using Node = xc::DOMNode*;
  static constexpr char kName[] = "xerces";

  Xerces() {
    // Once, before anything is measured.
    static const bool is_started = (xc::XMLPlatformUtils::Initialize(), true);
    static_cast<void>(is_started);
    parser_ = std::make_unique<xc::XercesDOMParser>();
    parser_->setCreateEntityReferenceNodes(false);
  }

  bool Load(const std::string& path) {
    parser_->parse(path.c_str());
    document_.reset(parser_->adoptDocument());
    return document_ != nullptr && parser_->getErrorCount() == 0;
  }
  bool Save(const std::string& path) {
    auto* implementation = static_cast<xc::DOMImplementationLS*>(
        xc::DOMImplementationRegistry::getDOMImplementation(u"LS"));
    const std::unique_ptr<xc::DOMLSSerializer, Release> writer(
        implementation->createLSSerializer());
    const std::unique_ptr<xc::DOMLSOutput, Release> output(implementation->createLSOutput());
    xc::LocalFileFormatTarget target(path.c_str());
    output->setByteStream(&target);
    return writer->write(document_.get(), output.get());
  }
  void Free() { document_.reset(); }

  Node Root() { return document_->getDocumentElement(); }
  static Node FirstChild(Node node) { return node->getFirstChild(); }
  static Node NextSibling(Node node) { return node->getNextSibling(); }
  static Node Parent(Node node) { return node->getParentNode(); }
  static int TypeOf(Node node) { return node->getNodeType(); }
  static std::u16string_view Value(Node node) { return node->getNodeValue(); }
  static size_t AttributeCount(Node node) { return node->getAttributes()->getLength(); }

  Node FirstByName(const char* name) {
    return document_->getElementsByTagName(Wide(name))->item(0);
  }
  size_t CountByName(const char* name) {
    return document_->getElementsByTagName(Wide(name))->getLength();
  }
  size_t AttributeLength(Node node, const char* name) {
    return std::u16string_view(ElementOf(node).getAttribute(Wide(name))).size();
  }

  Node NewElement(const char* name) { return document_->createElement(Wide(name)); }
  static void Append(Node parent, Node node) { parent->appendChild(node); }
  static void InsertBefore(Node parent, Node node, Node reference) {
    parent->insertBefore(node, reference);
  }
  static void Replace(Node parent, Node node, Node old) {
    parent->replaceChild(node, old)->release();
  }
  static void Remove(Node parent, Node node) { parent->removeChild(node)->release(); }
  void SetAttribute(Node node, const char* name, const char* value) {
    ElementOf(node).setAttribute(Wide(name), Wide(value));
  }
  void SetText(Node node, const char* text) { node->getFirstChild()->setNodeValue(Wide(text)); }
  static void AppendClone(Node node) { node->appendChild(node->cloneNode(true)); }

 private:
  static xc::DOMElement& ElementOf(Node node) { return *static_cast<xc::DOMElement*>(node); }

  // A program that uses this library holds its names in the library's characters.
  const XMLCh* Wide(const char* text) {
    std::u16string& wide = wide_[text];
    if (wide.empty()) {
      wide.assign(text, text + std::strlen(text));
    }
    return wide.c_str();
  }

  std::unordered_map<const char*, std::u16string> wide_;
  std::unique_ptr<xc::XercesDOMParser> parser_;
  std::unique_ptr<xc::DOMDocument, Release> document_;
};

const bool kAdded = AddModel<Xerces>();

}  // namespace
}  // namespace qvx::bench
