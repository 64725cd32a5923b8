#include <algorithm>
#include <random>

#include "dom/walks.h"
#include "tests/dom/world.h"

namespace qvx::test {
namespace {

// Where children come and go in the plain is seen by the random changes below.
TEST(Mutation, RefusalsAndWhatADocumentTakes) {
  const Change changes[] = {
      {.operation = {.append = "n"}, .error = kNullParameter},
      {.operation = {.in = "b", .append = "b"}, .error = DOM_HIERARCHY_REQUEST_ERR},
      {.operation = {.in = "b", .append = "r"}, .error = DOM_HIERARCHY_REQUEST_ERR},
      {.operation = {.in = "D", .append = "n"}, .error = DOM_HIERARCHY_REQUEST_ERR},
      {.operation = {.in = "r", .append = "k"}, .error = DOM_HIERARCHY_REQUEST_ERR},
      {.operation = {.in = "D", .append = "m"}, .error = DOM_HIERARCHY_REQUEST_ERR},
      {.operation = {.in = "D", .append = "u"}, .error = DOM_HIERARCHY_REQUEST_ERR},
      {.operation = {.in = "r", .append = "o"}, .error = DOM_WRONG_DOCUMENT_ERR},
      {.operation = {.in = "F", .append = "F"}, .error = DOM_HIERARCHY_REQUEST_ERR},
      {.operation = {.in = "E", .append = "E"}, .error = DOM_HIERARCHY_REQUEST_ERR},
      {.operation = {.in = "g", .append = "F"}, .error = DOM_HIERARCHY_REQUEST_ERR},
      {.operation = {.in = "D", .append = "F"}, .error = DOM_HIERARCHY_REQUEST_ERR},
      {.operation = {.in = "r", .insert = "n", .before = "b"}, .error = DOM_HIERARCHY_REQUEST_ERR},
      {.operation = {.in = "r", .insert = "o", .before = "a"}, .error = DOM_WRONG_DOCUMENT_ERR},
      {.operation = {.in = "D", .insert = "o", .before = "r"}, .error = DOM_WRONG_DOCUMENT_ERR},
      {.operation = {.in = "F", .insert = "F", .before = "g"}, .error = DOM_HIERARCHY_REQUEST_ERR},
      {.operation = {.in = "r", .by = "n"}, .error = kNullParameter},
      {.operation = {.in = "r", .replace = "b", .by = "n"}, .error = DOM_NOT_FOUND_ERR},
      {.operation = {.in = "r", .replace = "a", .by = "o"}, .error = DOM_WRONG_DOCUMENT_ERR},
      {.operation = {.in = "D", .replace = "r", .by = "m"}, .error = DOM_HIERARCHY_REQUEST_ERR},
      {.operation = {.in = "F", .replace = "g", .by = "F"}, .error = DOM_HIERARCHY_REQUEST_ERR},
      {.operation = {.in = "D", .replace = "r", .by = "F"}, .error = DOM_HIERARCHY_REQUEST_ERR},
      {.operation = {.remove = "a"}, .error = kNullParameter},
      {.operation = {.in = "r", .remove = "b"}, .error = DOM_NOT_FOUND_ERR},
      {.operation = {.in = "r", .remove = "o"}, .error = DOM_WRONG_DOCUMENT_ERR},
      {.operation = {.in = "x", .append = "E"}},
      {.operation = {.in = "b", .append = "m"},
       .document = "<!DOCTYPE t><r><a>x<b><m>y</m></b></a><!--c-->z</r>",
       .noted = "b"},
      {.operation = {.in = "r", .replace = "a", .by = "m"},
       .document = "<!DOCTYPE t><r><m>y</m><!--c-->z</r>",
       .noted = "r"},
      {.operation = {.in = "r", .remove = "c"},
       .document = "<!DOCTYPE t><r><a>x<b/></a>z</r>",
       .noted = "r"},
      {.operation = {.in = "D", .remove = "r"}, .document = "<!DOCTYPE t>", .noted = "-"},
      {.operation = {.in = "D", .append = "t"},
       .document = "<r><a>x<b/></a><!--c-->z</r><!DOCTYPE t>"},
      {.first = {{.in = "D", .remove = "r"}},
       .operation = {.in = "D", .append = "o"},
       .document = "<!DOCTYPE t><o/>"},
      {.first = {{.in = "D", .remove = "r"}},
       .operation = {.in = "D", .append = "m"},
       .document = "<!DOCTYPE t><m>y</m>"},
      {.name = "the first child of the fragment fits",
       .first = {{.in = "D", .remove = "r"}},
       .operation = {.in = "D", .append = "W"},
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .document = "<!DOCTYPE t><p/>",
       .destroyed = "q"},
      {.first = {{.in = "D", .remove = "t"}},
       .operation = {.in = "D", .insert = "u", .before = "r"},
       .document = "<!DOCTYPE u><r><a>x<b/></a><!--c-->z</r>"},
      {.operation = {.in = "r", .insert = "c", .before = "c"},
       .error = DOM_NOT_FOUND_ERR,
       .document = "<!DOCTYPE t><r><a>x<b/></a>z</r>"},
      {.operation = {.in = "r", .replace = "c", .by = "c"},
       .gives_nothing = true,
       .document = "<!DOCTYPE t><r><a>x<b/></a>z</r>"},
      {.operation = {.in = "D", .replace = "r", .by = "h"}, .document = "<!DOCTYPE t><!--h-->"},
      {.operation = {.in = "D", .replace = "t", .by = "u"},
       .document = "<!DOCTYPE u><r><a>x<b/></a><!--c-->z</r>"},
      {.first = {{.in = "D", .append = "h"}},
       .operation = {.in = "D", .replace = "h", .by = "u"},
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .document = "<!DOCTYPE t><r><a>x<b/></a><!--c-->z</r><!--h-->"},
  };
  for (const Change& change : changes) {
    SCOPED_TRACE(testing::Message() << "row " << &change - changes << " " << change.name);
    change.Check();
  }
}

TEST(Mutation, DocumentTypesHaveOwners) {
  World world;
  const struct {
    std::vector<Step> changes;
    const char* doctype;
    const char* owner;  // of it and of its lists
  } rows[] = {
      {.changes = {}, .doctype = "t", .owner = "D"},
      {.changes = {{.in = "D", .replace = "t", .by = "u"}}, .doctype = "t", .owner = "D"},
      {.changes = {}, .doctype = "u", .owner = "D"},
      {.changes = {{.in = "D", .remove = "u"}}, .doctype = "u", .owner = nullptr},
      {.changes = {{.in = "O", .append = "u"}}, .doctype = "u", .owner = "O"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    for (const Step& change : row.changes) {
      world.Do(change);
    }
    const DOM_DocumentType* const doctype = world[row.doctype];
    EXPECT_EQ(doctype->ownerDocument, world[row.owner]);
    EXPECT_EQ(DOM_NodeList_ownerDocument(doctype->childNodes), world[row.owner]);
    EXPECT_EQ(DOM_NodeList_ownerDocument(DOM_DocumentTypePart(doctype).entities), world[row.owner]);
    EXPECT_EQ(DOM_NodeList_ownerDocument(DOM_DocumentTypePart(doctype).notations),
              world[row.owner]);
  }
}

TEST(Mutation, FailureNamesOperationsInTheTrace) {
  World world;
  world.Do({.in = "D", .remove = "r"});
  world.Do({.in = "D", .append = "W"});
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
