// A small document and loose nodes for the tests of tree changes, and what a change makes of them.
#ifndef QVX_TESTS_DOM_WORLD_H
#define QVX_TESTS_DOM_WORLD_H

#include <map>

#include "tests/dom/model.h"

namespace qvx::test {

constexpr char kDocument[] = "<!DOCTYPE t><r><a>x<b/></a><!--c-->z</r>";

class World;

/// One operation on nodes of the world. A null parent is no node.
struct Step {
  const char* in = nullptr;
  const char* append = nullptr;
  const char* insert = nullptr;
  const char* before = nullptr;  ///< null: at the end
  const char* replace = nullptr;
  const char* by = nullptr;
  const char* remove = nullptr;
  void (*act)(World&) = nullptr;  ///< another one, without a result

  /// The node that it returns when it succeeds.
  const char* Node() const {
    return append != nullptr   ? append
           : insert != nullptr ? insert
           : by != nullptr     ? replace
                               : remove;
  }
};

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
    Do({.in = "m", .append = "y"});
    for (const char* name : {"1", "g", "2"}) {
      Do({.in = "F", .append = name});
    }
    for (const char* name : {"p", "q"}) {
      Do({.in = "W", .append = name});
    }
    DOM_DocumentPart(document).commonParent = nullptr;
  }

  World(const World&) = delete;
  World& operator=(const World&) = delete;
  World(World&&) = delete;
  World& operator=(World&&) = delete;
  /// Nodes that are in no tree are whole and go first.
  ~World() {
    std::vector<DOM_Node*> loose;
    for (const auto& [name, node] : nodes_) {
      const bool is_document = node == (*this)["D"] || node == (*this)["O"];
      if (!is_document && node->parentNode == nullptr &&
          (*name.c_str() != 'k' || DOM_AttributePart(node).ownerElement == nullptr)) {
        EXPECT_EQ(Violation(node), "") << name;
        loose.push_back(node);
      }
    }
    for (DOM_Node* node : loose) {
      DOM_Document_destroyNode((*this)["D"], node);
    }
  }

  /// A null name is no node.
  DOM_Node* operator[](const char* name) const {
    return name == nullptr ? nullptr : nodes_.at(name);
  }

  DOM_Node* Do(const Step& step) {
    DOM_Node* const parent = (*this)[step.in];
    if (step.act != nullptr) {
      step.act(*this);
      return nullptr;
    }
    if (step.append != nullptr) {
      return DOM_Node_appendChild(parent, (*this)[step.append]);
    }
    if (step.insert != nullptr) {
      return DOM_Node_insertBefore(parent, (*this)[step.insert], (*this)[step.before]);
    }
    return step.by != nullptr
               ? DOM_Node_replaceChild(parent, (*this)[step.by], (*this)[step.replace])
               : DOM_Node_removeChild(parent, (*this)[step.remove]);
  }

  /// Has `steps` done at the first event of that type that `node` hears.
  void React(const char* node, const char* type, const std::vector<Step>& steps) {
    listener_.act = [this, node, type, steps](DOM_Event* event) {
      listener_.Leave((*this)[node], type);
      for (const Step& step : steps) {
        Do(step);
      }
      EXPECT_GT(event->target->nodeType, 0) << "what is destroyed stays while operations go on";
    };
    listener_.Hear((*this)[node], type);
  }

  /// The model has destroyed those nodes. A letter names a node.
  void Forget(const std::string& destroyed) {
    std::erase_if(
        nodes_, [&](const auto& node) { return destroyed.find(node.first) != std::string::npos; });
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
  const char* name = "";
  std::vector<Step> first = {};  ///< what happens before anybody listens
  const char* at = "r";          ///< the node that hears `event`, if there is a handler
  const char* event = nullptr;
  std::vector<Step> handler = {};
  Step operation;
  bool gives_nothing = false;  ///< although it succeeds
  int32_t error = 0;
  const char* document = kDocument;
  const char* destroyed = "";   ///< nodes
  const char* noted = nullptr;  ///< the node where the change is noted, if that is looked at

  void Check() const {
    World world;
    for (const Step& step : first) {
      world.Do(step);
    }
    if (!handler.empty()) {
      world.React(at, event, handler);
    }
    DOM_Node* const result = world.Do(operation);
    EXPECT_EQ(result, error != 0 || gives_nothing ? nullptr : world[operation.Node()]);
    EXPECT_EQ(TakeError(), error);
    EXPECT_EQ(Xml(world["D"]), document);
    EXPECT_EQ(Violation(world["D"]), "");
    if (noted != nullptr) {
      EXPECT_EQ(DOM_DocumentPart(world["D"]).commonParent, *noted == '-' ? nullptr : world[noted]);
    }
    world.Forget(destroyed);
  }
};

}  // namespace qvx::test

#endif
