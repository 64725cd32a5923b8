// A small document and loose nodes for the tests of tree changes, and what a change makes of them.
#ifndef QVX_TESTS_DOM_WORLD_H
#define QVX_TESTS_DOM_WORLD_H

#include <map>

#include "tests/dom/model.h"

namespace qvx::test {

constexpr char kDocument[] = "<!DOCTYPE t><r><a>x<b/></a><!--c-->z</r>";

class World;

/// One operation on nodes of the world. A null name is no node.
struct Step {
  DOM_Node* (*change)(DOM_Node* parent, DOM_Node* node, DOM_Node* other) = nullptr;
  const char* parent = nullptr;
  const char* node = nullptr;
  const char* other = nullptr;
  const char* given = node;       ///< what it returns when it succeeds
  void (*act)(World&) = nullptr;  ///< another operation, without a result
};

constexpr Step Append(const char* parent, const char* node) {
  return {[](DOM_Node* p, DOM_Node* n, DOM_Node*) { return DOM_Node_appendChild(p, n); }, parent,
          node};
}
constexpr Step Insert(const char* parent, const char* node, const char* before) {
  return {DOM_Node_insertBefore, parent, node, before};
}
constexpr Step Replace(const char* parent, const char* old, const char* by) {
  return {DOM_Node_replaceChild, parent, by, old, old};
}
constexpr Step Remove(const char* parent, const char* node) {
  return {[](DOM_Node* p, DOM_Node* n, DOM_Node*) { return DOM_Node_removeChild(p, n); }, parent,
          node};
}

/// What is done at the first event of its type that the node `at` hears.
struct Handler {
  const char* event;
  std::vector<Step> steps = {};
  const char* at = "r";
};

/// The document, called "D". Its nodes are found by their names or, if they are texts or comments,
/// by their values. So are the nodes that are in no tree: a text "n", a comment "h", an element "m"
/// with a text "y", an attribute "k", the fragments "F" (1<g/>2), "E" (empty) and "W" (<p/><q/>), a
/// document type "u" of no document, and the element "o" of another document "O", which has the
/// element "R".
class World {
 public:
  World() {
    Load(document_.get(), std::string("<!DOCTYPE t><r><a>x<b/></a><!--c-->z") +
                              "<m>y</m>n<!--h-->1<g/>2<p/><q/></r>");
    AddBelow(document_.get());
    DOM_Document* const document = document_.get();
    nodes_["D"] = document;
    nodes_["O"] = other_.document();
    nodes_["R"] = other_.root();
    nodes_["o"] = DOM_Document_createElement(other_.document(), "o");
    nodes_["u"] = DOM_Implementation_createDocumentType("u", nullptr, nullptr);
    nodes_["k"] = DOM_Document_createAttribute(document, "k");
    for (const char* name : {"F", "E", "W"}) {
      nodes_[name] = DOM_Document_createDocumentFragment(document);
    }
    for (const auto& [parent, name] :
         {std::pair{"F", "1"}, {"F", "g"}, {"F", "2"}, {"W", "p"}, {"W", "q"}}) {
      Do(Append(parent, name));
    }
    for (const char* name : {"m", "n", "h"}) {
      Do(Remove("r", name));
    }
    DOM_DocumentPart(document).commonParent = nullptr;
  }

  /// A null name is no node.
  DOM_Node* operator[](const char* name) const {
    return name == nullptr ? nullptr : nodes_.at(name);
  }

  DOM_Node* Do(const Step& step) {
    if (step.act != nullptr) {
      step.act(*this);
      return nullptr;
    }
    return step.change((*this)[step.parent], (*this)[step.node], (*this)[step.other]);
  }

  void React(const Handler& handler) {
    DOM_Node* const node = (*this)[handler.at];
    listener_.act = [this, node, handler](DOM_Event* event) {
      listener_.Leave(node, handler.event);
      for (const Step& step : handler.steps) {
        Do(step);
      }
      EXPECT_GT(event->target->nodeType, 0) << "what is destroyed stays while operations go on";
    };
    listener_.Hear(node, handler.event);
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

  /// Nodes that are in no tree are whole and go first.
  void DestroyLoose() {
    std::vector<OwnedNode> loose;
    for (const auto& [name, node] : nodes_) {
      const bool is_document = node->nodeType == DOM_DOCUMENT_NODE;
      if (!is_document && node->parentNode == nullptr &&
          (node->nodeType != DOM_ATTRIBUTE_NODE ||
           DOM_AttributePart(node).ownerElement == nullptr)) {
        EXPECT_EQ(Violation(node), "") << name;
        loose.emplace_back(node);
      }
    }
  }

  OwnedNode document_{DOM_Implementation_createDocument(nullptr, nullptr, nullptr)};
  Tree other_;
  std::map<std::string, DOM_Node*> nodes_;
  Listener listener_;
  const std::shared_ptr<void> end_{static_cast<void*>(nullptr), [this](void*) { DestroyLoose(); }};
};

/// A change of the world and what comes of it.
struct Change {
  const char* name = "";
  std::vector<Step> first = {};  ///< what happens before anybody listens
  Handler handler = {};
  Step step;
  bool gives_nothing = false;  ///< although it succeeds
  int32_t error = 0;
  const char* xml = kDocument;
  const char* destroyed = "";   ///< nodes
  const char* noted = nullptr;  ///< the node where the change is noted, if that is looked at

  void Check() const {
    World world;
    for (const Step& before : first) {
      world.Do(before);
    }
    if (!handler.steps.empty()) {
      world.React(handler);
    }
    EXPECT_EQ(world.Do(step), error != 0 || gives_nothing ? nullptr : world[step.given]);
    EXPECT_EQ(TakeError(), error);
    EXPECT_EQ(Xml(world["D"]), xml);
    EXPECT_EQ(Violation(world["D"]), "");
    if (noted != nullptr) {
      EXPECT_EQ(DOM_DocumentPart(world["D"]).commonParent, *noted == '-' ? nullptr : world[noted]);
    }
    world.Forget(destroyed);
  }
};

}  // namespace qvx::test

#endif
