// What the tests of the document model share: a document to work on, trees and events as short
// texts, and a listener.
#ifndef QVX_TESTS_DOM_MODEL_H
#define QVX_TESTS_DOM_MODEL_H

#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <functional>
#include <regex>
#include <string>

#include "dom/dom.h"
#include "support/malloc_owner.h"

namespace qvx::test {

/// The codes of the model are whole once its table is registered.
inline const bool codes_are_registered = msgno_add_codes(dom_codes) == 0;

/// The error cell, which is emptied.
inline int32_t TakeError() {
  return std::exchange(*_DOM_Exception(), 0);
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

struct NodeDeleter {
  void operator()(DOM_Node* node) const { DOM_Document_destroyNode(node->ownerDocument, node); }
};
using OwnedNode = std::unique_ptr<DOM_Node, NodeDeleter>;

/// A document with the document element "r" and an empty error cell.
class Tree {
 public:
  Tree() { TakeError(); }
  DOM_Document* document() const { return document_.get(); }
  DOM_Element* root() const { return root_; }
  DOM_Node*& common_parent() const { return DOM_DocumentPart(document()).commonParent; }

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

/// The children of a node: (text) !comment! [CDATA section] element{children}.
inline std::string Children(const DOM_Node* parent) {
  std::string shape;
  for (const DOM_Node* node = parent->firstChild; node != nullptr; node = node->nextSibling) {
    const std::string value = Text(node->nodeValue);
    shape += node->nodeType == DOM_TEXT_NODE      ? "(" + value + ")"
             : node->nodeType == DOM_COMMENT_NODE ? "!" + value + "!"
             : node->nodeType == DOM_CDATA_SECTION_NODE
                 ? "[" + value + "]"
                 : Text(node->nodeName) + "{" + Children(node) + "}";
  }
  return shape;
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
  std::string name = {};
  std::string* log = nullptr;
  std::function<void(DOM_Event*)> act = {};

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

}  // namespace qvx::test

#endif
