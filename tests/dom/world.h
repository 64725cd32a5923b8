// A small document and loose nodes for the tests of tree changes, and what a change makes of them.
#ifndef QVX_TESTS_DOM_WORLD_H
#define QVX_TESTS_DOM_WORLD_H

#include <map>
#include <set>

#include "tests/dom/model.h"

namespace qvx::test {

/// The children of a node as they are written, with a "|" between neighbouring texts.
inline std::string Xml(const DOM_Node* parent) {
  std::string xml;
  for (const DOM_Node* node = parent->firstChild; node != nullptr; node = node->nextSibling) {
    const std::string name = Text(node->nodeName);
    const std::string inner = Xml(node);
    const bool follows_text =
        node->previousSibling != nullptr && node->previousSibling->nodeType == DOM_TEXT_NODE;
    switch (node->nodeType) {
      case DOM_TEXT_NODE:
        xml.append(follows_text ? "|" : "").append(Text(node->nodeValue));
        break;
      case DOM_COMMENT_NODE:
        xml.append("<!--").append(Text(node->nodeValue)).append("-->");
        break;
      case DOM_DOCUMENT_TYPE_NODE:
        xml.append("<!DOCTYPE ").append(name).append(">");
        break;
      default:
        xml.append("<").append(name).append(Attributes(node));
        xml.append(inner.empty() ? "/>" : ">" + inner + "</" + name + ">");
    }
  }
  return xml;
}

constexpr char kDocument[] = "<!DOCTYPE t><r><a>x<b/></a><!--c-->z</r>";

/// The document, called "D". Its nodes are found by their names or, if they are texts or comments,
/// by their values. So are the nodes that are in no tree: a text "n", a comment "h", an element "m"
/// with a text "y", an attribute "k", the fragments "F" (1<g/>2), "E" (empty) and "W" (<p/><q/>), a
/// document type "u" of no document, and the element "o" of another document "O", which has the
/// element "R".
class World {
 public:
  World() {
    Load(document_.get(), kDocument);
    AddBelow(document_.get());
    DOM_Document* const document = document_.get();
    nodes_["D"] = document;
    nodes_["O"] = other_.document();
    nodes_["R"] = other_.root();
    nodes_["o"] = DOM_Document_createElement(other_.document(), "o");
    nodes_["u"] = DOM_Implementation_createDocumentType("u", nullptr, nullptr);
    nodes_["k"] = DOM_Document_createAttribute(document, "k");
    for (const char* text : {"n", "y", "1", "2"}) {
      nodes_[text] = DOM_Document_createTextNode(document, text);
    }
    nodes_["h"] = DOM_Document_createComment(document, "h");
    for (const char* name : {"m", "g", "p", "q"}) {
      nodes_[name] = DOM_Document_createElement(document, name);
    }
    for (const char* name : {"F", "E", "W"}) {
      nodes_[name] = DOM_Document_createDocumentFragment(document);
    }
    Append("m", "y");
    for (const char* name : {"1", "g", "2"}) {
      Append("F", name);
    }
    Append("W", "p");
    Append("W", "q");
    DOM_DocumentPart(document).commonParent = nullptr;
  }

  /// A null name is no node.
  DOM_Node* operator[](const char* name) const {
    return name == nullptr ? nullptr : nodes_.at(name);
  }

  DOM_Node* Append(const char* parent, const char* child) const {
    return DOM_Node_appendChild((*this)[parent], (*this)[child]);
  }
  DOM_Node* Insert(const char* parent, const char* child, const char* reference) const {
    return DOM_Node_insertBefore((*this)[parent], (*this)[child], (*this)[reference]);
  }
  DOM_Node* Replace(const char* parent, const char* child, const char* old) const {
    return DOM_Node_replaceChild((*this)[parent], (*this)[child], (*this)[old]);
  }
  DOM_Node* Remove(const char* parent, const char* child) const {
    return DOM_Node_removeChild((*this)[parent], (*this)[child]);
  }
  void Destroy(const char* node) const { DOM_Document_destroyNode(document_.get(), (*this)[node]); }

  /// Has `handler` called at the first event of that type that `node` hears.
  void React(const char* node, const char* type, const std::function<void(World&)>& handler) {
    listener_.act = [this, node, type, handler](DOM_Event* event) {
      listener_.Leave((*this)[node], type);
      handler(*this);
      EXPECT_GT(event->target->nodeType, 0) << "what is destroyed stays while operations go on";
    };
    listener_.Hear((*this)[node], type);
  }

  /// Expects that the nodes that were in no tree, but for those `placed`, and those `taken` from
  /// their places, are in no tree now, and destroys them. A letter names a node.
  void ExpectLoose(const std::string& placed, const std::string& taken) const {
    std::set<char> names = {'F', 'E', 'W', 'n', 'h', 'm', 'k', 'u', 'o'};
    for (const char name : placed) {
      names.erase(name);
    }
    names.insert(taken.begin(), taken.end());
    for (const char name : names) {
      DOM_Node* const node = nodes_.at(std::string(1, name));
      EXPECT_EQ(Violation(node), "") << name;
      DOM_Document_destroyNode(document_.get(), node);
    }
  }

 private:
  void AddBelow(DOM_Node* parent) {
    for (DOM_Node* node : Chain(parent)) {
      nodes_[node->nodeName[0] == '#' ? node->nodeValue : node->nodeName] = node;
      AddBelow(node);
    }
  }

  OwnedNode document_{DOM_Implementation_createDocument(nullptr, nullptr, nullptr)};
  Tree other_;
  std::map<std::string, DOM_Node*> nodes_;
  Listener listener_;
};

/// A change of the world and what comes of it.
struct Change {
  const char* name;
  void (*before)(World&) = nullptr;  ///< what happens before anybody listens
  const char* at = nullptr;          ///< the node that hears `event`, if one does
  const char* event = nullptr;
  void (*handler)(World&) = nullptr;
  DOM_Node* (*operation)(World&);
  const char* result = nullptr;
  int32_t error = 0;
  const char* document = kDocument;
  const char* placed = "";      ///< loose nodes that are placed then, or destroyed
  const char* taken = "";       ///< nodes that are loose then
  const char* noted = nullptr;  ///< the node where the change is noted, if that is looked at

  void Check() const {
    SCOPED_TRACE(name);
    World world;
    if (before != nullptr) {
      before(world);
    }
    if (handler != nullptr) {
      world.React(at, event, handler);
    }
    EXPECT_EQ(operation(world), world[result]);
    EXPECT_EQ(TakeError(), error);
    EXPECT_EQ(Xml(world["D"]), document);
    EXPECT_EQ(Violation(world["D"]), "");
    if (noted != nullptr) {
      EXPECT_EQ(DOM_DocumentPart(world["D"]).commonParent, *noted == '-' ? nullptr : world[noted]);
    }
    world.ExpectLoose(placed, taken);
  }
};

}  // namespace qvx::test

#endif
