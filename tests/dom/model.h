// What the tests of the document model share: a document to work on, trees and events as short
// texts, a listener, what holds for every tree, and the nodes that no public operation makes.
#ifndef QVX_TESTS_DOM_MODEL_H
#define QVX_TESTS_DOM_MODEL_H

#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "dom/dom.h"
#include "os/files.h"
#include "support/malloc_owner.h"
#include "tests/harness/installation.h"

namespace qvx::test {

/// The codes of the model are whole once its table is registered.
inline const bool codes_are_registered = msgno_add_codes(dom_codes) == 0;

/// The error cell, which is emptied, as is the system's.
inline int32_t TakeError() {
  errno = 0;
  return std::exchange(*_DOM_Exception(), 0);
}

/// The error that an operation leaves when it gives nothing; -1 when it gives something.
inline int32_t Refusal(const void* result) {
  return result == nullptr ? TakeError() : -1;
}

/// The trace buffer with N for every line number.
inline std::string TraceText() {
  return std::regex_replace(std::string(_msgno_buf), std::regex(":[0-9]+:"), ":N:");
}

inline std::string Text(const char* text) {
  return text == nullptr ? "(null)" : text;
}

/// A copy that an operation made for its caller.
inline std::string Taken(DOM_String* text) {
  return Text(MallocOwner<DOM_String>(text).get());
}

/// What std::setlocale returned for a locale that is to be left at the end of a scope.
struct LocaleLeaver {
  void operator()(const char* /*name*/) const { std::setlocale(LC_ALL, "C"); }
};
using Locale = std::unique_ptr<const char, LocaleLeaver>;

struct Destroyer {
  void operator()(DOM_Node* node) const { DOM_Document_destroyNode(node->ownerDocument, node); }
  void operator()(NodeList* list) const { DOM_Document_destroyNodeList(nullptr, list, 0); }
};
using OwnedNode = std::unique_ptr<DOM_Node, Destroyer>;
using OwnedList = std::unique_ptr<NodeList, Destroyer>;

/// The result of loading a text into a document.
inline int Load(DOM_Document* document, const std::string& text) {
  const File stream(std::tmpfile());
  std::fwrite(text.data(), 1, text.size(), stream.get());
  std::fseek(stream.get(), 0, SEEK_SET);
  return DOM_DocumentLS_fread(document, stream.get());
}

/// A document with the document element "r" and an empty error cell.
class Tree {
 public:
  Tree() { TakeError(); }
  DOM_Document* document() const { return document_.get(); }
  DOM_Element* root() const { return root_; }
  DOM_Node*& common_parent() const { return DOM_DocumentPart(document()).commonParent; }

  /// Puts a document type "t" in front of the root.
  DOM_DocumentType* AddDoctype(const char* public_id = nullptr) const {
    return DOM_Node_insertBefore(
        document(), DOM_Implementation_createDocumentType("t", public_id, nullptr), root());
  }

  /// Appends "<name", an element, "!data", a comment, "[data", a CDATA section, or else a text.
  DOM_Node* Add(DOM_Node* parent, const std::string& code) const {
    const char* const rest = code.c_str() + (code.empty() ? 0 : 1);
    const char kind = code.c_str()[0];
    return DOM_Node_appendChild(
        parent, kind == '<'   ? DOM_Document_createElement(document(), rest)
                : kind == '!' ? DOM_Document_createComment(document(), rest)
                : kind == '[' ? DOM_Document_createCDATASection(document(), rest)
                              : DOM_Document_createTextNode(document(), code.c_str()));
  }

 private:
  OwnedNode document_{DOM_Implementation_createDocument(nullptr, nullptr, nullptr)};
  DOM_Element* root_ = Add(document(), "<r");
};

inline std::string Attributes(const DOM_Node* element) {
  std::string text;
  for (int32_t i = 0; DOM_Node* node = DOM_NamedNodeMap_item(element->attributes, i); ++i) {
    text += " " + Text(node->nodeName) + "=" + Text(node->nodeValue);
    EXPECT_EQ(DOM_AttributePart(node).ownerElement, element);
  }
  return text;
}

inline std::string Xml(const DOM_Node* parent);

/// A node as it is written, but for quotes and escapes. An empty text is (), and a "|" stands
/// between texts.
inline std::string XmlOf(const DOM_Node* node) {
  const std::string name = Text(node->nodeName);
  const std::string value = Text(node->nodeValue);
  const std::string inner = Xml(node);
  const DOM_Node* const previous = node->previousSibling;
  switch (node->nodeType) {
    case DOM_TEXT_NODE:
      return (previous != nullptr && previous->nodeType == DOM_TEXT_NODE ? "|" : "") +
             (value.empty() ? "()" : value);
    case DOM_COMMENT_NODE:
      return "<!--" + value + "-->";
    case DOM_CDATA_SECTION_NODE:
      return "<![CDATA[" + value + "]]>";
    case DOM_PROCESSING_INSTRUCTION_NODE:
      return "<?" + name + " " + value + "?>";
    case DOM_ENTITY_NODE:
      return "<!ENTITY " + name + " " + value + ">";
    case DOM_NOTATION_NODE:
      return "<!NOTATION " + name + ">";
    case DOM_DOCUMENT_TYPE_NODE:
      return "<!DOCTYPE " + name + (inner.empty() ? "" : " [" + inner + "]") + ">";
    default:
      return "<" + name + Attributes(node) +
             (inner.empty() ? "/>" : ">" + inner + "</" + name + ">");
  }
}

/// The children of a node.
inline std::string Xml(const DOM_Node* parent) {
  std::string xml;
  for (const DOM_Node* node = parent->firstChild; node != nullptr; node = node->nextSibling) {
    xml += XmlOf(node);
  }
  return xml;
}

/// An event as type@target/phase, and what it says of a value.
inline std::string Place(const DOM_Event* event) {
  return Text(event->type) + "@" + event->target->nodeName + "/" +
         std::to_string(event->eventPhase) + " ";
}
inline std::string Values(const DOM_Event* event) {
  return Text(event->prevValue) + ">" + Text(event->newValue) + " ";
}

/// A listener that writes "name:" and the place to a log, if it has one, and then acts.
struct Listener {
  std::function<void(DOM_Event*)> act = {};
  std::string* log = nullptr;
  std::string name = {};

  static void Handle(DOM_EventListener* self, DOM_Event* event) {
    const auto* listener = static_cast<const Listener*>(self);
    if (listener->log != nullptr) {
      *listener->log += listener->name + ":" + Place(event);
    }
    if (listener->act) {
      listener->act(event);
    }
  }
  void Hear(DOM_Node* node, const char* type, int use_capture = 0) {
    DOM_EventTarget_addEventListener(node, type, this, Handle, use_capture);
  }
  void Leave(DOM_Node* node, const char* type, int use_capture = 0) {
    DOM_EventTarget_removeEventListener(node, type, this, Handle, use_capture);
  }
};

/// The children of a node as the sibling chain has them.
inline std::vector<DOM_Node*> Chain(const DOM_Node* parent) {
  std::vector<DOM_Node*> nodes;
  for (DOM_Node* node = parent->firstChild; node != nullptr; node = node->nextSibling) {
    nodes.push_back(node);
  }
  return nodes;
}

/// What is wrong with the children of one node; empty: nothing. This holds after every operation.
inline std::string ViolationAt(DOM_Node* parent) {
  NodeList* const list = parent->childNodes;
  const std::vector<DOM_Node*> nodes = Chain(parent);
  const DOM_Node* previous = nullptr;
  std::vector<const DOM_Node*> last_of_type(13);
  for (const DOM_Node* node : nodes) {
    if (node->parentNode != parent || node->previousSibling != previous) {
      return "link";
    }
    previous = last_of_type[node->nodeType] = node;
  }
  // From the middle on, where the walk before this one ended.
  for (size_t i = 0; i < nodes.size(); ++i) {
    const size_t index = (i + nodes.size() / 2) % nodes.size();
    if (DOM_NodeList_item(list, static_cast<int32_t>(index)) != nodes[index]) {
      return "item";
    }
  }
  if (parent->lastChild != previous || (list != nullptr && list->length != nodes.size())) {
    return "ends";
  }
  const bool is_document = parent->nodeType == DOM_DOCUMENT_NODE;
  return is_document &&
                 (DOM_Document_getDocumentElement(parent) != last_of_type[DOM_ELEMENT_NODE] ||
                  DOM_Document_getDoctype(parent) != last_of_type[DOM_DOCUMENT_TYPE_NODE])
             ? "field"
             : "";
}

inline std::string ViolationBelow(DOM_Node* parent) {
  std::string violation = ViolationAt(parent);
  for (DOM_Node* child : Chain(parent)) {
    violation += ViolationBelow(child);
  }
  return violation;
}

/// What is wrong with a tree, the links of its root included.
inline std::string Violation(DOM_Node* root) {
  const bool is_root = root->parentNode == nullptr && root->previousSibling == nullptr &&
                       root->nextSibling == nullptr;
  return (is_root ? "" : "root ") + ViolationBelow(root);
}

/// An entity or notation without ids; `value` may be null.
inline DOM_Node* Declaration(DOM_Document* document, uint16_t type, const char* name,
                             const char* value = nullptr) {
  DOM_Node* const node = Document_createNode(document, type);
  node->nodeName = strdup(name);
  node->nodeValue = value == nullptr ? nullptr : strdup(value);
  return node;
}

}  // namespace qvx::test

#endif
