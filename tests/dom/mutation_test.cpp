#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <sstream>

#include "dom/walks.h"
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
              {"R", other_.root()},
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
  /// "when F removed append F h, destroy g" is what a handler at F does at the first removal.
  DOM_Node* Do(const std::string& script) {
    DOM_Node* result = nullptr;
    std::istringstream lines(script);
    for (std::string line; std::getline(lines >> std::ws, line, ';');) {
      std::istringstream words(line + " - -");
      std::string change;
      std::string names[3];
      words >> change >> names[0] >> names[1];
      if (change == "when") {
        std::getline(words, names[2]);
        React(names[0], names[1], names[2]);
        continue;
      }
      words >> names[2];
      result = Change(change, (*this)[names[0]], names[1], names[2]);
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

  DOM_Node*& noted() const { return tree_.common_parent(); }

 private:
  /// One change of `node`; the other words are nodes or, where the operation takes them, texts.
  DOM_Node* Change(const std::string& change, DOM_Node* node, const std::string& second,
                   const std::string& third) {
    if (change == "merge") {
      DOM_Element_normalize(node);
    } else if (change == "destroy") {
      DOM_Document_destroyNode(tree_.document(), node);
    } else if (change == "overwrite") {
      DOM_CharacterData_replaceData(node, 0, 1, second.c_str());
    } else if (change == "set") {
      DOM_Element_setAttribute(node, second.c_str(), third.c_str());
    } else if (change == "unset") {
      DOM_Element_removeAttribute(node, second.c_str());
    } else {
      return change == "append"    ? DOM_Node_appendChild(node, (*this)[second])
             : change == "insert"  ? DOM_Node_insertBefore(node, (*this)[second], (*this)[third])
             : change == "replace" ? DOM_Node_replaceChild(node, (*this)[second], (*this)[third])
             : change == "remove"  ? DOM_Node_removeChild(node, (*this)[second])
             : change == "put"     ? DOM_Element_setAttributeNode(node, (*this)[second])
             : change == "take"    ? DOM_Element_removeAttributeNode(node, (*this)[second])
                                   : DOM_Text_splitText(node, std::stoi(second));
    }
    return nullptr;
  }

  void React(const std::string& at, const std::string& event_name, std::string script) {
    static const std::map<std::string, const char*> kTypes = {
        {"removed", "DOMNodeRemoved"},
        {"inserted", "DOMNodeInserted"},
        {"overwritten", "DOMCharacterDataModified"},
        {"attribute", "DOMAttrModified"}};
    const char* const type = kTypes.at(event_name);
    std::replace(script.begin(), script.end(), ',', ';');
    listener_.act = [this, at, type, script](DOM_Event* event) {
      listener_.Leave((*this)[at], type);
      Do(script);
      EXPECT_GT(event->target->nodeType, 0) << "what is destroyed stays while operations go on";
    };
    listener_.Hear((*this)[at], type);
  }

  Tree tree_;
  Tree other_;
  std::map<std::string, DOM_Node*> nodes_;
  Listener listener_;
};

const char* const kUnchanged = "t{}r{a{(x)b{}}!c!(z)}";

TEST(Mutation, ChangesAndTheirOutcome) {
  const struct {
    const char *changes, *result;
    int32_t error;
    const char *document, *loose;
    const char* noted = nullptr;  // where the change is noted, if that is looked at
  } rows[] = {
      {"append - n", "-", kNullParameter, kUnchanged, ""},               // no parent
      {"append b m", "m", 0, "t{}r{a{(x)b{m{(y)}}}!c!(z)}", "-m", "b"},  // new
      {"append r z", "z", 0, kUnchanged, ""},                            // last again
      {"append r a", "a", 0, "t{}r{!c!(z)a{(x)b{}}}", ""},               // first moves
      {"append b b", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},    // itself
      {"append b r", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},    // ancestor
      {"append D n", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},    // text in document
      {"append r k", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},    // attribute
      {"append D m", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},    // second element
      {"append D u", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},    // second type
      {"append D t", "t", 0, "r{a{(x)b{}}!c!(z)}t{}", ""},               // type again
      {"append r o", "-", DOM_WRONG_DOCUMENT_ERR, kUnchanged, ""},       // other document's
      {"remove D r; append D o", "o", 0, "t{}o{}", "-o +r"},         // other document's to document
      {"append a F", "F", 0, "t{}r{a{(x)b{}(1)g{}(2)}!c!(z)}", ""},  // fragment
      {"append x E", "E", 0, kUnchanged, ""},                        // empty fragment
      {"append F F", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // fragment to itself
      {"append E E", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // empty one to itself
      {"append g F", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // fragment around
      {"append D F", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // fragment misfits
      {"remove D r; append D W", "-", DOM_HIERARCHY_REQUEST_ERR, "t{}p{}", "+r"},  // half fits

      {"insert r n a", "n", 0, "t{}r{(n)a{(x)b{}}!c!(z)}", "-n", "r"},       // first
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
      {"replace r m a", "a", 0, "t{}r{m{(y)}!c!(z)}", "-m +a", "r"},      // first
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
      {"replace D F r", "-", DOM_HIERARCHY_REQUEST_ERR, kUnchanged, ""},  // by one that misfits

      {"remove - a", "-", kNullParameter, kUnchanged, ""},                   // no parent
      {"remove r c", "c", 0, "t{}r{a{(x)b{}}(z)}", "+c", "r"},               // middle
      {"remove D r", "r", 0, "t{}", "+r", "-"},                              // document element
      {"remove m y", "y", 0, kUnchanged, "+y"},                              // only
      {"remove r b", "-", DOM_NOT_FOUND_ERR, kUnchanged, ""},                // grandchild
      {"remove r o", "-", DOM_WRONG_DOCUMENT_ERR, kUnchanged, ""},           // other document's
      {"remove D r; append D m", "m", 0, "t{}m{(y)}", "-m +r"},              // element makes room
      {"remove D t; append D u", "u", 0, "r{a{(x)b{}}!c!(z)}u{}", "-u +t"},  // type makes room

      // The removal is done already, the child is elsewhere, is detached, or is now above its new
      // parent.
      {"when r removed remove r c; remove r c", "-", DOM_NOT_FOUND_ERR, "t{}r{a{(x)b{}}(z)}", "+c"},
      {"when r removed append m c; append a c", "-", DOM_HIERARCHY_REQUEST_ERR,
       "t{}r{a{(x)b{}}(z)}", ""},
      {"when r removed remove r c; append a c", "c", 0, "t{}r{a{(x)b{}!c!}(z)}", ""},
      {"when r removed append b m; append m a", "-", DOM_HIERARCHY_REQUEST_ERR, "t{}r{!c!(z)}",
       "-m +a"},
      // The document has an element by now; the reference, the replaced child or the place of a
      // fragment is gone.
      {"remove D r; when F removed append D m; append D g", "-", DOM_HIERARCHY_REQUEST_ERR,
       "t{}m{(y)}", "-m +r +g"},
      {"when r removed remove r z; insert r a z", "-", DOM_NOT_FOUND_ERR, "t{}r{!c!}", "+a +z"},
      {"when r removed remove r z; replace r n z", "-", 0, "t{}r{a{(x)b{}}!c!}", "+z"},
      {"when r inserted remove r c; insert r F c", "-", DOM_HIERARCHY_REQUEST_ERR,
       "t{}r{a{(x)b{}}(1)(z)}", "+c"},
      // The replacement has been put elsewhere, the fragment is fed, the new child is thrown out.
      {"when r removed append a n; replace r n z", "-", DOM_HIERARCHY_REQUEST_ERR,
       "t{}r{a{(x)b{}(n)}!c!(z)}", "-n"},
      {"when F removed append F h; append a F", "F", 0, "t{}r{a{(x)b{}(1)g{}(2)}!c!(z)}", "-h"},
      {"when r inserted remove r n; append r n", "n", 0, kUnchanged, ""},

      // Handlers may destroy what the operation works on. A use of what is gone shows under
      // AddressSanitizer only; here it is seen what is left.
      {"append r n; when r overwritten merge r; overwrite z x", "-", 0, "t{}r{a{(x)b{}}!c!(n)}",
       "-n"},
      {"append r n; when r overwritten merge r; split z 1", "-", DOM_WRONG_DOCUMENT_ERR,
       "t{}r{a{(x)b{}}!c!(zn)}", "-n"},
      {"append r n; when r inserted merge r; split z 0", "-", DOM_NOT_FOUND_ERR,
       "t{}r{a{(x)b{}}!c!(zn)}", "-n"},
      {"when r overwritten remove r z; split z 0; append r z", "z", kNullParameter, kUnchanged, ""},
      {"append r n; when r overwritten merge r; merge r", "-", 0, "t{}r{a{(x)b{}}!c!(zzn)}", "-n"},
      {"when r inserted merge r; insert r n z", "-", DOM_NOT_FOUND_ERR, "t{}r{a{(x)b{}}!c!(nz)}",
       ""},
      {"append r n; when r removed merge r; remove r z", "-", DOM_NOT_FOUND_ERR,
       "t{}r{a{(x)b{}}!c!(zn)}", "-n"},
      {"remove F 1; append r n; when r inserted merge r; replace r 1 z", "z", 0,
       "t{}r{a{(x)b{}}!c!(1n)}", "-n +z"},
      {"when r inserted append a z, destroy z; replace r n z", "z", 0, "t{}r{a{(x)b{}}!c!(n)}",
       "-n +z"},
      {"when r removed remove O R, append E m, append E a, append O E; append r a", "-",
       DOM_HIERARCHY_REQUEST_ERR, "t{}r{!c!(z)}", "-m +R"},
      {"set a k 1; when r attribute unset a k; set a k 2", "-", 0, kUnchanged, ""},
      {"put a k; when r attribute put a k, unset a k; take a k", "-", 0, kUnchanged, "-k"},
      {"put a k; when r attribute put a k, unset a k; unset a k", "-", 0, kUnchanged, "-k"},
      {"put a k; when r attribute unset a k; put a k", "-", 0, kUnchanged, "-k"},
      {"when r inserted destroy n; append r n", "-", DOM_NOT_FOUND_ERR, kUnchanged, ""},
      {"when r inserted destroy n, append a n; append r n", "n", 0, "t{}r{a{(x)b{}(n)}!c!(z)}",
       "-n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.changes);
    World world;
    world.noted() = nullptr;
    EXPECT_EQ(world.Do(row.changes), world[row.result]);
    EXPECT_EQ(TakeError(), row.error);
    EXPECT_EQ(Children(world["D"]), row.document);
    EXPECT_EQ(Violation(world["D"]), "");
    EXPECT_EQ(world.noted(), row.noted == nullptr ? world.noted() : world[row.noted]);
    world.ExpectLoose(row.loose);
  }
}

TEST(Mutation, DocumentTypesHaveOwners) {
  World world;
  const struct {
    const char *change, *doctype;
    const char* owner;  // of it and of its lists
  } rows[] = {{"", "t", "D"},
              {"replace D u t", "t", "D"},
              {"", "u", "D"},
              {"remove D u", "u", "-"},
              {"append O u", "u", "O"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.change);
    world.Do(row.change);
    const DOM_DocumentType* const doctype = world[row.doctype];
    EXPECT_EQ(doctype->ownerDocument, world[row.owner]);
    EXPECT_EQ(DOM_NodeList_ownerDocument(doctype->childNodes), world[row.owner]);
    EXPECT_EQ(DOM_NodeList_ownerDocument(DOM_DocumentTypePart(doctype).entities), world[row.owner]);
    EXPECT_EQ(DOM_NodeList_ownerDocument(DOM_DocumentTypePart(doctype).notations),
              world[row.owner]);
  }
  world.ExpectLoose("-u +t");
}

TEST(Mutation, FailureNamesOperationsInTheTrace) {
  World world;
  world.Do("remove D r; append D W");
  EXPECT_EQ(TraceText(),
            "src/node.cpp:N:DOM_Node_appendChild: The request violated tree hierarchy constraints\n"
            "  src/node.cpp:N:DOM_Node_appendChild: \n");
  EXPECT_EQ(TakeError(), DOM_HIERARCHY_REQUEST_ERR);
  world.ExpectLoose("+r");
}

TEST(Mutation, RandomChangesGiveTheExpectedChildren) {
  enum Change { kInsert, kReplace, kRemove };
  const Tree tree;
  std::vector<OwnedNode> roots;
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
    std::vector<DOM_Node*> children = Chain(parent);
    const size_t at = random() % (children.size() + 1);
    DOM_Node* const child = at < children.size() ? children[at] : nullptr;
    const auto change = static_cast<Change>(random() % 3);
    const bool is_fragment = node->nodeType == DOM_DOCUMENT_FRAGMENT_NODE;
    const auto moved = is_fragment ? Chain(node) : std::vector<DOM_Node*>{node};
    const bool fits = node != child && !dom::IsWithin(node, parent) &&
                      (parent->childNodes != nullptr || moved.empty());
    const bool succeeds = change == kInsert    ? fits
                          : change == kReplace ? fits && child != nullptr
                                               : node->parentNode == parent;
    DOM_Node* const result = change == kInsert    ? DOM_Node_insertBefore(parent, node, child)
                             : change == kReplace ? DOM_Node_replaceChild(parent, node, child)
                                                  : DOM_Node_removeChild(parent, node);
    EXPECT_EQ(result, !succeeds ? nullptr : change == kReplace ? child : node);
    if (succeeds || node == child) {  // a node that is to stand beside itself is taken out
      std::erase_if(children, [&](const DOM_Node* n) { return std::ranges::count(moved, n) > 0; });
    }
    if (succeeds && change != kRemove) {
      children.insert(std::ranges::find(children, child), moved.begin(), moved.end());
      std::erase(children, change == kReplace ? child : nullptr);
    }
    ASSERT_EQ(Chain(parent), children);
    for (DOM_Node* changed : nodes) {
      ASSERT_EQ(ViolationAt(changed), "");
    }
  }
  TakeError();
  for (DOM_Node* node : nodes) {
    if (node->parentNode == nullptr) {
      roots.emplace_back(node);
    }
  }
}

}  // namespace
}  // namespace qvx::test
