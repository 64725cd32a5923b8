#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <sstream>

#include "tests/dom/invariants.h"
#include "tests/dom/model.h"

namespace qvx::test {
namespace {

/// A document D with t{} r{a{(x)b{}}!c!(z)}, and nodes of its own and of others that are in no
/// tree, all found by their names: fragments F{(1)g{}(2)}, E{}, W{p{}q{}}, a text n, a comment h,
/// an element m{(y)}, an attribute k, a document type u that is outside any document, and an
/// element o of another document O.
class World {
 public:
  World() {
    DOM_Document* const document = tree_.document();
    nodes_ = {{"-", nullptr},
              {"D", document},
              {"r", tree_.root()},
              {"O", other_.document()},
              {"o", DOM_Document_createElement(other_.document(), "o")},
              {"t", DOM_Implementation_createDocumentType("t", nullptr, nullptr)},
              {"u", DOM_Implementation_createDocumentType("u", nullptr, nullptr)},
              {"k", DOM_Document_createAttribute(document, "k")},
              {"n", DOM_Document_createTextNode(document, "n")},
              {"h", DOM_Document_createComment(document, "h")},
              {"m", DOM_Document_createElement(document, "m")},
              {"F", DOM_Document_createDocumentFragment(document)},
              {"E", DOM_Document_createDocumentFragment(document)},
              {"W", DOM_Document_createDocumentFragment(document)}};
    DOM_Node_insertBefore(document, nodes_["t"], tree_.root());
    for (const std::string code :
         {"r<a", "r!c", "rz", "ax", "a<b", "my", "F1", "F<g", "F2", "W<p", "W<q"}) {
      nodes_[code.substr(code.size() - 1)] = tree_.Add(nodes_[code.substr(0, 1)], code.substr(1));
    }
  }

  DOM_Node* operator[](const std::string& name) const { return nodes_.at(name); }

  /// Carries out changes such as "remove r c; insert r n a". Returns the result of the last.
  DOM_Node* Do(const std::string& script) const {
    DOM_Node* result = nullptr;
    std::istringstream lines(script);
    for (std::string line; std::getline(lines >> std::ws, line, ';');) {
      std::istringstream words(line + " - -");
      std::string change;
      std::string names[3];
      words >> change >> names[0] >> names[1] >> names[2];
      DOM_Node* const nodes[3] = {(*this)[names[0]], (*this)[names[1]], (*this)[names[2]]};
      result = change == "append"    ? DOM_Node_appendChild(nodes[0], nodes[1])
               : change == "insert"  ? DOM_Node_insertBefore(nodes[0], nodes[1], nodes[2])
               : change == "replace" ? DOM_Node_replaceChild(nodes[0], nodes[1], nodes[2])
                                     : DOM_Node_removeChild(nodes[0], nodes[1]);
    }
    return result;
  }

  /// Expects the nodes that were in no tree, less those in `changes` with a minus and with those
  /// with a plus, to be the ones that are in no tree now, and destroys them.
  void ExpectLoose(const std::string& changes) const {
    std::set<std::string> names = {"F", "E", "W", "n", "h", "m", "k", "u", "o"};
    std::istringstream words(changes);
    for (std::string change; words >> change;) {
      names.erase(change.substr(1));
      names.insert(change[0] == '+' ? change.substr(1) : "-");
    }
    names.erase("-");
    for (const std::string& name : names) {
      EXPECT_EQ(Violation((*this)[name]), "") << name;
      DOM_Document_destroyNode(tree_.document(), (*this)[name]);
    }
  }

 private:
  Tree tree_;
  Tree other_;
  std::map<std::string, DOM_Node*> nodes_;
};

struct Case {
  const char* changes;
  const char* result;
  int32_t error;
  const char* document;
  const char* loose;
};

const char* const kUnchanged = "t{}r{a{(x)b{}}!c!(z)}";

void Check(const World& world, const Case& row) {
  SCOPED_TRACE(row.changes);
  EXPECT_EQ(world.Do(row.changes), world[row.result]);
  EXPECT_EQ(TakeError(), row.error);
  EXPECT_EQ(Children(world["D"]), row.document);
  EXPECT_EQ(Violation(world["D"]), "");
  world.ExpectLoose(row.loose);
}

TEST(Mutation, OneChange) {
  const Case rows[] = {
      {"append - n", "-", kNullParameter, kUnchanged, ""},             // no parent
      {"append b m", "m", 0, "t{}r{a{(x)b{m{(y)}}}!c!(z)}", "-m"},     // new
      {"append r z", "z", 0, kUnchanged, ""},                          // last again
      {"append r a", "a", 0, "t{}r{!c!(z)a{(x)b{}}}", ""},             // first moves
      {"append b b", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // itself
      {"append b r", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // ancestor
      {"append D n", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // text in document
      {"append r k", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // attribute
      {"append D m", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // second element
      {"append D r", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // element again
      {"append D u", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // second type
      {"append D t", "t", 0, "r{a{(x)b{}}!c!(z)}t{}", ""},             // type again
      {"append r o", "-", DOM_WRONG_DOCUMENT_ERR, kUnchanged, ""},     // other document's
      {"remove D r; append D o", "o", 0, "t{}o{}", "-o +r"},         // other document's to document
      {"append a F", "F", 0, "t{}r{a{(x)b{}(1)g{}(2)}!c!(z)}", ""},  // fragment
      {"append x E", "E", 0, kUnchanged, ""},                        // empty fragment
      {"append F F", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // fragment to itself
      {"append E E", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // empty one to itself
      {"append g F", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // fragment around
      {"append D F", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // fragment misfits
      {"remove D r; append D W", "-", DOM_HIERARCHY_REQUEST_ERR, "t{}p{}",
       "+r"},  // fragment half fits

      {"insert r n a", "n", 0, "t{}r{(n)a{(x)b{}}!c!(z)}", "-n"},            // first
      {"insert r n c", "n", 0, "t{}r{a{(x)b{}}(n)!c!(z)}", "-n"},            // middle
      {"insert r n -", "n", 0, "t{}r{a{(x)b{}}!c!(z)(n)}", "-n"},            // end
      {"insert b n -", "n", 0, "t{}r{a{(x)b{(n)}}!c!(z)}", "-n"},            // into empty
      {"insert r a c", "a", 0, kUnchanged, ""},                              // before the next
      {"insert r c a", "c", 0, "t{}r{!c!a{(x)b{}}(z)}", ""},                 // before the previous
      {"insert r c c", "-", DOM_NOT_FOUND_ERR, "t{}r{a{(x)b{}}(z)}", "+c"},  // before itself
      {"insert r n b", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},      // elsewhere
      {"insert r o a", "-", DOM_WRONG_DOCUMENT_ERR, kUnchanged, ""},         // other document's
      {"insert D o r", "-", DOM_WRONG_DOCUMENT_ERR, kUnchanged, ""},         // even to document
      {"remove D t; insert D u r", "u", 0, "u{}r{a{(x)b{}}!c!(z)}", "-u +t"},  // type from outside
      {"insert r F c", "F", 0, "t{}r{a{(x)b{}}(1)g{}(2)!c!(z)}", ""},          // fragment
      {"insert F F g", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},        // fragment to itself

      {"replace r n -", "-", kNullParameter, kUnchanged, ""},             // no child
      {"replace r m a", "a", 0, "t{}r{m{(y)}!c!(z)}", "-m +a"},           // first
      {"replace r c a", "a", 0, "t{}r{!c!(z)}", "+a"},                    // by the next
      {"replace r a c", "c", 0, "t{}r{a{(x)b{}}(z)}", "+c"},              // by the previous
      {"replace r b a", "a", 0, "t{}r{b{}!c!(z)}", "+a"},                 // by a descendant
      {"replace r c c", "-", 0, "t{}r{a{(x)b{}}(z)}", "+c"},              // by itself
      {"replace r n b", "-", DOM_NOT_FOUND_ERR, kUnchanged, ""},          // not a child
      {"replace r o a", "-", DOM_WRONG_DOCUMENT_ERR, kUnchanged, ""},     // other document's
      {"replace D m r", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // document element
      {"replace D h r", "r", 0, "t{}!h!", "-h +r"},                       // element by comment
      {"replace D u t", "t", 0, "u{}r{a{(x)b{}}!c!(z)}", "-u +t"},        // type by type
      {"append D h; replace D u h", "-", DOM_HIERARCHY_REQUEST_ERR, "t{}r{a{(x)b{}}!c!(z)}!h!",
       "-h"},                                                             // comment by second type
      {"replace r E c", "c", 0, "t{}r{a{(x)b{}}(z)}", "+c"},              // by empty fragment
      {"replace r F z", "z", 0, "t{}r{a{(x)b{}}!c!(1)g{}(2)}", "+z"},     // by fragment
      {"replace F F g", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // by fragment in itself
      {"replace D F r", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged,
       ""},  // by fragment that misfits

      {"remove - a", "-", kNullParameter, kUnchanged, ""},                   // no parent
      {"remove r c", "c", 0, "t{}r{a{(x)b{}}(z)}", "+c"},                    // middle
      {"remove m y", "y", 0, kUnchanged, "+y"},                              // only
      {"remove r b", "-", DOM_NOT_FOUND_ERR, kUnchanged, ""},                // grandchild
      {"remove r o", "-", DOM_WRONG_DOCUMENT_ERR, kUnchanged, ""},           // other document's
      {"remove D r; append D m", "m", 0, "t{}m{(y)}", "-m +r"},              // element makes room
      {"remove D t; append D u", "u", 0, "r{a{(x)b{}}!c!(z)}u{}", "-u +t"},  // type makes room
  };
  for (const Case& row : rows) {
    Check(World(), row);
  }
}

TEST(Mutation, DocumentTypeFollowsItsDocument) {
  const World world;
  const DOM_DocumentType* const doctype = world["t"];
  const DOM_DocumentTypeFields& fields = DOM_DocumentTypePart(world["t"]);
  for (const char* name : {"D", "-", "O"}) {
    for (const DOM_Document* owner :
         {doctype->ownerDocument, doctype->childNodes->ownerDocument,
          fields.entities->ownerDocument, fields.notations->ownerDocument}) {
      EXPECT_EQ(owner, world[name]);
    }
    world.Do(name[0] == 'D' ? "remove D t" : "append O t");
  }
  world.ExpectLoose("");
}

TEST(Mutation, ReplacedDocumentTypeKeepsItsOwner) {
  const World world;
  EXPECT_EQ(world.Do("replace D u t"), world["t"]);
  EXPECT_EQ(world["t"]->ownerDocument, world["D"]);
  EXPECT_EQ(world["u"]->ownerDocument, world["D"]);
  world.ExpectLoose("-u +t");
}

TEST(Mutation, ChangesAreNotedAtTheParent) {
  const World world;
  DOM_Node*& noted = DOM_DocumentPart(world["D"]).commonParent;
  const struct {
    const char* changes;
    const char* noted;
  } rows[] = {{"append b m", "b"},
              {"insert r n a", "r"},
              {"replace a h x", "a"},
              {"remove r c", "r"},
              {"remove D r", "-"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.changes);
    noted = nullptr;
    world.Do(row.changes);
    EXPECT_EQ(noted, world[row.noted]);
  }
  world.ExpectLoose("-m -n -h +x +c +r");
}

TEST(Mutation, FailureNamesOperationsInTheTrace) {
  const World world;
  world.Do("remove D r; append D W");
  EXPECT_EQ(TraceText(),
            "src/node.cpp:N:DOM_Node_appendChild: The request violated tree hierarchy constraints\n"
            "  src/node.cpp:N:DOM_Node_appendChild: \n");
  EXPECT_EQ(TakeError(), DOM_HIERARCHY_REQUEST_ERR);
  world.ExpectLoose("+r");
}

TEST(Mutation, HandlersMayChangeTheTree) {
  const char* const removed = "DOMNodeRemoved";
  const char* const inserted = "DOMNodeInserted";
  const struct {
    const char* at;
    const char* type;
    const char* changes;  // by a handler, at the first event of that type that gets there
    Case outcome;
  } rows[] = {
      // The removal is done already, the child is elsewhere, is detached, or is now above its new
      // parent.
      {"r",
       removed,
       "remove r c",
       {"remove r c", "-", DOM_NOT_FOUND_ERR, "t{}r{a{(x)b{}}(z)}", "+c"}},
      {"r",
       removed,
       "append m c",
       {"append a c", "-", DOM_HIERARCHY_REQUEST_ERR, "t{}r{a{(x)b{}}(z)}", ""}},
      {"r", removed, "remove r c", {"append a c", "c", 0, "t{}r{a{(x)b{}!c!}(z)}", ""}},
      {"r",
       removed,
       "append b m",
       {"append m a", "-", DOM_HIERARCHY_REQUEST_ERR, "t{}r{!c!(z)}", "-m +a"}},
      // The document has an element by now; the reference, the replaced child or the place of a
      // fragment is gone.
      {"F",
       removed,
       "append D m",
       {"remove D r; append D g", "-", DOM_HIERARCHY_REQUEST_ERR, "t{}m{(y)}", "-m +r +g"}},
      {"r", removed, "remove r z", {"insert r a z", "-", DOM_NOT_FOUND_ERR, "t{}r{!c!}", "+a +z"}},
      {"r", removed, "remove r z", {"replace r n z", "-", 0, "t{}r{a{(x)b{}}!c!}", "+z"}},
      {"r",
       inserted,
       "remove r c",
       {"insert r F c", "-", DOM_HIERARCHY_REQUEST_ERR, "t{}r{a{(x)b{}}(1)(z)}", "+c"}},
      // The replacement has been put elsewhere, the fragment is fed, the new child is thrown out.
      {"r",
       removed,
       "append a n",
       {"replace r n z", "-", DOM_HIERARCHY_REQUEST_ERR, "t{}r{a{(x)b{}(n)}!c!(z)}", "-n"}},
      {"F", removed, "append F h", {"append a F", "F", 0, "t{}r{a{(x)b{}(1)g{}(2)}!c!(z)}", "-h"}},
      {"r", inserted, "remove r n", {"append r n", "n", 0, kUnchanged, ""}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.changes);
    const World world;
    std::string log;
    Listener listener{"", &log};
    listener.act = [&](DOM_Event*) {
      listener.Leave(world[row.at], row.type);
      world.Do(row.changes);
    };
    listener.Hear(world[row.at], row.type);
    Check(world, row.outcome);
  }
}

/// What trees of elements, texts and fragments should look like.
struct Model {
  std::map<DOM_Node*, std::vector<const DOM_Node*>> children;
  std::map<const DOM_Node*, DOM_Node*> parents;

  bool MayHold(const DOM_Node* parent, const DOM_Node* child) {
    const bool is_text = parent->nodeType == DOM_TEXT_NODE;
    while (parent != nullptr && parent != child) {
      parent = parents[parent];
    }
    return !is_text && parent == nullptr;
  }
  /// What really moves: the children of a fragment, else the node itself.
  std::vector<const DOM_Node*> Moved(DOM_Node* node) {
    return node->nodeType == DOM_DOCUMENT_FRAGMENT_NODE ? children[node]
                                                        : std::vector<const DOM_Node*>{node};
  }
  void Remove(const DOM_Node* node) {
    if (DOM_Node* const parent = std::exchange(parents[node], nullptr)) {
      std::erase(children[parent], node);
    }
  }
  bool Insert(DOM_Node* parent, DOM_Node* node, const DOM_Node* reference) {
    const auto moved = Moved(node);
    if (parent == node ||
        !std::all_of(moved.begin(), moved.end(), [&](auto* n) { return MayHold(parent, n); })) {
      return false;
    }
    for (const DOM_Node* child : moved) {
      Remove(child);
      auto& list = children[parent];
      const auto place = std::find(list.begin(), list.end(), reference);
      if (place == list.end() && reference != nullptr) {
        return false;
      }
      list.insert(place, child);
      parents[child] = parent;
    }
    return true;
  }
};

TEST(Mutation, RandomChangesFollowAModel) {
  const Tree tree;
  Model model;
  std::vector<DOM_Node*> nodes(36);
  for (size_t i = 0; i < nodes.size(); ++i) {
    nodes[i] = i < 4    ? DOM_Document_createDocumentFragment(tree.document())
               : i < 14 ? DOM_Document_createTextNode(tree.document(), "t")
                        : DOM_Document_createElement(tree.document(), "e");
  }
  std::mt19937 random(20);  // NOLINT(cert-msc32-c,cert-msc51-cpp): every run is to do the same
  for (int step = 0; step < 20000; ++step) {
    SCOPED_TRACE(step);
    DOM_Node* const parent = nodes[random() % nodes.size()];
    DOM_Node* const node = nodes[random() % nodes.size()];
    const uint32_t children = parent->childNodes == nullptr ? 0 : parent->childNodes->length;
    DOM_Node* const child =
        children == 0
            ? nullptr
            : DOM_NodeList_item(parent->childNodes, static_cast<int32_t>(random() % children));
    switch (random() % 3) {
      case 0:
        EXPECT_EQ(DOM_Node_insertBefore(parent, node, child),
                  model.Insert(parent, node, child) ? node : nullptr);
        break;
      case 1:
        EXPECT_EQ(DOM_Node_replaceChild(parent, node, child),
                  child != nullptr && model.Insert(parent, node, child) ? child : nullptr);
        if (child != nullptr && child->parentNode == nullptr) {
          model.Remove(child);
        }
        break;
      default:
        EXPECT_EQ(DOM_Node_removeChild(parent, node),
                  model.parents[node] == parent ? node : nullptr);
        if (model.parents[node] == parent) {
          model.Remove(node);
        }
    }
    for (DOM_Node* changed : nodes) {
      ASSERT_EQ(Chain(changed), model.children[changed]);
      ASSERT_EQ(ViolationAt(changed), "");
    }
  }
  TakeError();
  for (DOM_Node* node : nodes) {
    if (model.parents[node] == nullptr) {
      DOM_Document_destroyNode(tree.document(), node);
    }
  }
}

}  // namespace
}  // namespace qvx::test
