#include <memory>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/LocalFileFormatTarget.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLString.hpp>

#include "bench/documents.h"

namespace qvx::bench {
namespace {

namespace xc = xercesc;

// Started once, before anything is measured.
bool StartLibrary() {
  static const bool is_started = (xc::XMLPlatformUtils::Initialize(), true);
  return is_started;
}

// A text in the characters of the library.
class Wide {
 public:
  explicit Wide(const char* text) : text_(xc::XMLString::transcode(text)) {}
  ~Wide() { xc::XMLString::release(&text_); }
  Wide(const Wide&) = delete;
  Wide& operator=(const Wide&) = delete;
  Wide(Wide&&) = delete;
  Wide& operator=(Wide&&) = delete;

  const XMLCh* get() const { return text_; }

 private:
  XMLCh* text_;
};

std::string Narrow(const XMLCh* text) {
  char* bytes = xc::XMLString::transcode(text);
  std::string narrow = bytes;
  xc::XMLString::release(&bytes);
  return narrow;
}

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
    StartLibrary();
    parser_ = std::make_unique<xc::XercesDOMParser>();
    parser_->setCreateEntityReferenceNodes(false);
  }

  bool Load(const std::string& path) {
    parser_->parse(path.c_str());
    document_.reset(parser_->adoptDocument());
    return document_ != nullptr && parser_->getErrorCount() == 0;
  }
  bool Save(const std::string& path) {
    const Wide features("LS");
    auto* implementation = static_cast<xc::DOMImplementationLS*>(
        xc::DOMImplementationRegistry::getDOMImplementation(features.get()));
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
  Tally Count() {
    Tally tally;
    for (Node node = Root(); node != nullptr; node = Following(node)) {
      const auto type = node->getNodeType();
      tally.elements += type == xc::DOMNode::ELEMENT_NODE ? 1 : 0;
      tally.comments += type == xc::DOMNode::COMMENT_NODE ? 1 : 0;
      tally.instructions += type == xc::DOMNode::PROCESSING_INSTRUCTION_NODE ? 1 : 0;
      tally.attributes += node->getAttributes() ? node->getAttributes()->getLength() : 0;
      if (type == xc::DOMNode::TEXT_NODE || type == xc::DOMNode::CDATA_SECTION_NODE) {
        tally.AddText(Narrow(node->getNodeValue()));
      }
    }
    return tally;
  }

  size_t FirstText(const char* name) {
    const Wide wide(name);
    const xc::DOMNode* element = document_->getElementsByTagName(wide.get())->item(0);
    return xc::XMLString::stringLen(element->getFirstChild()->getNodeValue());
  }
  size_t CountByName(const char* name) {
    const Wide wide(name);
    return document_->getElementsByTagName(wide.get())->getLength();
  }
  // Its lists of children start anew for each index, so a walk by siblings stands for it.
  size_t VisitByIndex() {
    size_t count = 0;
    for (const xc::DOMNode* node = Root()->getFirstChild(); node; node = node->getNextSibling()) {
      ++count;
    }
    return count;
  }
  size_t AttributeLength(Node node, const char* name) {
    return xc::XMLString::stringLen(static_cast<xc::DOMElement*>(node)->getAttribute(Known(name)));
  }

  Node NewElement(const char* name) { return document_->createElement(Known(name)); }
  static void Append(Node parent, Node node) { parent->appendChild(node); }
  static void InsertBefore(Node parent, Node node, Node reference) {
    parent->insertBefore(node, reference);
  }
  static void Replace(Node parent, Node node, Node old) {
    parent->replaceChild(node, old)->release();
  }
  static void Remove(Node parent, Node node) { parent->removeChild(node)->release(); }
  void SetAttribute(Node node, const char* name, const char* value) {
    static_cast<xc::DOMElement*>(node)->setAttribute(Known(name), Known(value));
  }
  void SetText(Node node, const char* text) { node->getFirstChild()->setNodeValue(Known(text)); }
  static void AppendClone(Node node) { node->appendChild(node->cloneNode(true)); }

 private:
  // A program that uses this library holds its names in the library's characters.
  const XMLCh* Known(const char* text) {
    for (const auto& [narrow, wide] : known_) {
      if (narrow == text) {
        return wide->get();
      }
    }
    return known_.emplace_back(text, std::make_unique<Wide>(text)).second->get();
  }
  Node Following(Node node) {
    if (node->getFirstChild() != nullptr) {
      return node->getFirstChild();
    }
    const Node root = Root();
    while (node != root && node->getNextSibling() == nullptr) {
      node = node->getParentNode();
    }
    return node == root ? nullptr : node->getNextSibling();
  }

  std::vector<std::pair<const char*, std::unique_ptr<Wide>>> known_;
  std::unique_ptr<xc::XercesDOMParser> parser_;
  std::unique_ptr<xc::DOMDocument, Release> document_;
};

const bool kAdded = AddModel<Xerces>();

}  // namespace
}  // namespace qvx::bench
