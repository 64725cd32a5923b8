#include <algorithm>
#include <random>

#include "dom/walks.h"
#include "tests/dom/world.h"

namespace qvx::test {
namespace {

// Where children come and go in the plain is seen by the random changes below.
TEST(Mutation, RefusalsAndWhatADocumentTakes) {
  const Change changes[] = {
      {.step = Append(nullptr, "n"), .error = kNullParameter},
      {.step = Append("b", "b"), .error = DOM_HIERARCHY_REQUEST_ERR},
      {.step = Append("b", "r"), .error = DOM_HIERARCHY_REQUEST_ERR},
      {.step = Append("D", "n"), .error = DOM_HIERARCHY_REQUEST_ERR},
      {.step = Append("r", "k"), .error = DOM_HIERARCHY_REQUEST_ERR},
      {.step = Append("D", "m"), .error = DOM_HIERARCHY_REQUEST_ERR},
      {.step = Append("D", "u"), .error = DOM_HIERARCHY_REQUEST_ERR},
      {.step = Append("r", "o"), .error = DOM_WRONG_DOCUMENT_ERR},
      {.step = Append("F", "F"), .error = DOM_HIERARCHY_REQUEST_ERR},
      {.step = Append("E", "E"), .error = DOM_HIERARCHY_REQUEST_ERR},
      {.step = Append("g", "F"), .error = DOM_HIERARCHY_REQUEST_ERR},
      {.step = Append("D", "F"), .error = DOM_HIERARCHY_REQUEST_ERR},
      {.step = Insert("r", "n", "b"), .error = DOM_HIERARCHY_REQUEST_ERR},
      {.step = Insert("r", "o", "a"), .error = DOM_WRONG_DOCUMENT_ERR},
      {.step = Insert("D", "o", "r"), .error = DOM_WRONG_DOCUMENT_ERR},
      {.step = Insert("F", "F", "g"), .error = DOM_HIERARCHY_REQUEST_ERR},
      {.step = Replace("r", nullptr, "n"), .error = kNullParameter},
      {.step = Replace("r", "b", "n"), .error = DOM_NOT_FOUND_ERR},
      {.step = Replace("r", "a", "o"), .error = DOM_WRONG_DOCUMENT_ERR},
      {.step = Replace("D", "r", "m"), .error = DOM_HIERARCHY_REQUEST_ERR},
      {.step = Replace("F", "g", "F"), .error = DOM_HIERARCHY_REQUEST_ERR},
      {.step = Replace("D", "r", "F"), .error = DOM_HIERARCHY_REQUEST_ERR},
      {.step = Remove(nullptr, "a"), .error = kNullParameter},
      {.step = Remove("r", "b"), .error = DOM_NOT_FOUND_ERR},
      {.step = Remove("r", "o"), .error = DOM_WRONG_DOCUMENT_ERR},
      {.step = Append("x", "E")},
      {.step = Append("b", "m"),
       .xml = "<!DOCTYPE t><r><a>x<b><m>y</m></b></a><!--c-->z</r>",
       .noted = "b"},
      {.step = Replace("r", "a", "m"), .xml = "<!DOCTYPE t><r><m>y</m><!--c-->z</r>", .noted = "r"},
      {.step = Remove("r", "c"), .xml = "<!DOCTYPE t><r><a>x<b/></a>z</r>", .noted = "r"},
      {.step = Remove("D", "r"), .xml = "<!DOCTYPE t>", .noted = "-"},
      {.step = Append("D", "t"), .xml = "<r><a>x<b/></a><!--c-->z</r><!DOCTYPE t>"},
      {.first = {Remove("D", "r")}, .step = Append("D", "o"), .xml = "<!DOCTYPE t><o/>"},
      {.first = {Remove("D", "r")}, .step = Append("D", "m"), .xml = "<!DOCTYPE t><m>y</m>"},
      {.name = "the first child of the fragment fits",
       .first = {Remove("D", "r")},
       .step = Append("D", "W"),
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .xml = "<!DOCTYPE t><p/>",
       .destroyed = "q"},
      {.first = {Remove("D", "t")},
       .step = Insert("D", "u", "r"),
       .xml = "<!DOCTYPE u><r><a>x<b/></a><!--c-->z</r>"},
      {.step = Insert("r", "c", "c"),
       .error = DOM_NOT_FOUND_ERR,
       .xml = "<!DOCTYPE t><r><a>x<b/></a>z</r>"},
      {.step = Replace("r", "c", "c"),
       .gives_nothing = true,
       .xml = "<!DOCTYPE t><r><a>x<b/></a>z</r>"},
      {.step = Replace("D", "r", "h"), .xml = "<!DOCTYPE t><!--h-->"},
      {.step = Replace("D", "t", "u"), .xml = "<!DOCTYPE u><r><a>x<b/></a><!--c-->z</r>"},
      {.first = {Append("D", "h")},
       .step = Replace("D", "h", "u"),
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .xml = "<!DOCTYPE t><r><a>x<b/></a><!--c-->z</r><!--h-->"},
  };
  for (const Change& change : changes) {
    SCOPED_TRACE(testing::Message() << "row " << &change - changes << " " << change.name);
    change.Check();
  }
}

TEST(Mutation, DocumentTypesHaveOwners) {
  World world;
  // Of it and of its lists.
  const auto expect_owner = [&world](const char* name, const char* owner) {
    const DOM_DocumentType* const doctype = world[name];
    EXPECT_EQ(doctype->ownerDocument, world[owner]);
    for (DOM_NodeList* list : {doctype->childNodes, DOM_DocumentTypePart(doctype).entities,
                               DOM_DocumentTypePart(doctype).notations}) {
      EXPECT_EQ(DOM_NodeList_ownerDocument(list), world[owner]);
    }
  };
  expect_owner("t", "D");
  world.Do(Replace("D", "t", "u"));
  expect_owner("t", "D");
  expect_owner("u", "D");
  world.Do(Remove("D", "u"));
  expect_owner("u", nullptr);
  world.Do(Append("O", "u"));
  expect_owner("u", "O");
}

TEST(Mutation, FailureNamesOperationsInTheTrace) {
  World world;
  world.Do(Remove("D", "r"));
  world.Do(Append("D", "W"));
  EXPECT_EQ(TraceText(),
            "src/node.cpp:N:DOM_Node_appendChild: The request violated tree hierarchy constraints\n"
            "  src/node.cpp:N:DOM_Node_appendChild: \n");
  EXPECT_EQ(TakeError(), DOM_HIERARCHY_REQUEST_ERR);
  world.Forget("q");
}

TEST(Mutation, RandomChangesGiveTheExpectedChildren) {
  enum Kind { kInsert, kReplace, kRemove };
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
    const auto change = static_cast<Kind>(random() % 3);
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
