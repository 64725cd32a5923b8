#include <algorithm>
#include <random>

#include "dom/walks.h"
#include "tests/dom/world.h"

namespace qvx::test {
namespace {

using W = World;

TEST(Mutation, ChangesAndTheirOutcome) {
  const Change changes[] = {
      {.name = "append: no parent",
       .operation = [](W& w) { return w.Append(nullptr, "n"); },
       .error = kNullParameter},
      {.name = "append: new",
       .operation = [](W& w) { return w.Append("b", "m"); },
       .result = "m",
       .document = "<!DOCTYPE t><r><a>x<b><m>y</m></b></a><!--c-->z</r>",
       .placed = "m",
       .noted = "b"},
      {.name = "append: last again",
       .operation = [](W& w) { return w.Append("r", "z"); },
       .result = "z"},
      {.name = "append: first moves",
       .operation = [](W& w) { return w.Append("r", "a"); },
       .result = "a",
       .document = "<!DOCTYPE t><r><!--c-->z<a>x<b/></a></r>"},
      {.name = "append: itself",
       .operation = [](W& w) { return w.Append("b", "b"); },
       .error = DOM_HIERARCHY_REQUEST_ERR},
      {.name = "append: ancestor",
       .operation = [](W& w) { return w.Append("b", "r"); },
       .error = DOM_HIERARCHY_REQUEST_ERR},
      {.name = "append: text in document",
       .operation = [](W& w) { return w.Append("D", "n"); },
       .error = DOM_HIERARCHY_REQUEST_ERR},
      {.name = "append: attribute",
       .operation = [](W& w) { return w.Append("r", "k"); },
       .error = DOM_HIERARCHY_REQUEST_ERR},
      {.name = "append: second element",
       .operation = [](W& w) { return w.Append("D", "m"); },
       .error = DOM_HIERARCHY_REQUEST_ERR},
      {.name = "append: second type",
       .operation = [](W& w) { return w.Append("D", "u"); },
       .error = DOM_HIERARCHY_REQUEST_ERR},
      {.name = "append: type again",
       .operation = [](W& w) { return w.Append("D", "t"); },
       .result = "t",
       .document = "<r><a>x<b/></a><!--c-->z</r><!DOCTYPE t>"},
      {.name = "append: other document's",
       .operation = [](W& w) { return w.Append("r", "o"); },
       .error = DOM_WRONG_DOCUMENT_ERR},
      {.name = "append: other document's to document",
       .operation =
           [](W& w) {
             w.Remove("D", "r");
             return w.Append("D", "o");
           },
       .result = "o",
       .document = "<!DOCTYPE t><o/>",
       .placed = "o",
       .taken = "r"},
      {.name = "append: fragment",
       .operation = [](W& w) { return w.Append("a", "F"); },
       .result = "F",
       .document = "<!DOCTYPE t><r><a>x<b/>1<g/>2</a><!--c-->z</r>"},
      {.name = "append: empty fragment",
       .operation = [](W& w) { return w.Append("x", "E"); },
       .result = "E"},
      {.name = "append: fragment to itself",
       .operation = [](W& w) { return w.Append("F", "F"); },
       .error = DOM_HIERARCHY_REQUEST_ERR},
      {.name = "append: empty one to itself",
       .operation = [](W& w) { return w.Append("E", "E"); },
       .error = DOM_HIERARCHY_REQUEST_ERR},
      {.name = "append: fragment around",
       .operation = [](W& w) { return w.Append("g", "F"); },
       .error = DOM_HIERARCHY_REQUEST_ERR},
      {.name = "append: fragment misfits",
       .operation = [](W& w) { return w.Append("D", "F"); },
       .error = DOM_HIERARCHY_REQUEST_ERR},
      {.name = "append: half fits",
       .operation =
           [](W& w) {
             w.Remove("D", "r");
             return w.Append("D", "W");
           },
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .document = "<!DOCTYPE t><p/>",
       .taken = "r"},
      {.name = "insert: first",
       .operation = [](W& w) { return w.Insert("r", "n", "a"); },
       .result = "n",
       .document = "<!DOCTYPE t><r>n<a>x<b/></a><!--c-->z</r>",
       .placed = "n",
       .noted = "r"},
      {.name = "insert: middle",
       .operation = [](W& w) { return w.Insert("r", "n", "c"); },
       .result = "n",
       .document = "<!DOCTYPE t><r><a>x<b/></a>n<!--c-->z</r>",
       .placed = "n"},
      {.name = "insert: end",
       .operation = [](W& w) { return w.Insert("r", "n", nullptr); },
       .result = "n",
       .document = "<!DOCTYPE t><r><a>x<b/></a><!--c-->z|n</r>",
       .placed = "n"},
      {.name = "insert: into empty",
       .operation = [](W& w) { return w.Insert("b", "n", nullptr); },
       .result = "n",
       .document = "<!DOCTYPE t><r><a>x<b>n</b></a><!--c-->z</r>",
       .placed = "n"},
      {.name = "insert: before the next",
       .operation = [](W& w) { return w.Insert("r", "a", "c"); },
       .result = "a"},
      {.name = "insert: before the previous",
       .operation = [](W& w) { return w.Insert("r", "c", "a"); },
       .result = "c",
       .document = "<!DOCTYPE t><r><!--c--><a>x<b/></a>z</r>"},
      {.name = "insert: before itself",
       .operation = [](W& w) { return w.Insert("r", "c", "c"); },
       .error = DOM_NOT_FOUND_ERR,
       .document = "<!DOCTYPE t><r><a>x<b/></a>z</r>",
       .taken = "c"},
      {.name = "insert: elsewhere",
       .operation = [](W& w) { return w.Insert("r", "n", "b"); },
       .error = DOM_HIERARCHY_REQUEST_ERR},
      {.name = "insert: other document's",
       .operation = [](W& w) { return w.Insert("r", "o", "a"); },
       .error = DOM_WRONG_DOCUMENT_ERR},
      {.name = "insert: even to document",
       .operation = [](W& w) { return w.Insert("D", "o", "r"); },
       .error = DOM_WRONG_DOCUMENT_ERR},
      {.name = "insert: type from outside",
       .operation =
           [](W& w) {
             w.Remove("D", "t");
             return w.Insert("D", "u", "r");
           },
       .result = "u",
       .document = "<!DOCTYPE u><r><a>x<b/></a><!--c-->z</r>",
       .placed = "u",
       .taken = "t"},
      {.name = "insert: fragment",
       .operation = [](W& w) { return w.Insert("r", "F", "c"); },
       .result = "F",
       .document = "<!DOCTYPE t><r><a>x<b/></a>1<g/>2<!--c-->z</r>"},
      {.name = "insert: fragment to itself",
       .operation = [](W& w) { return w.Insert("F", "F", "g"); },
       .error = DOM_HIERARCHY_REQUEST_ERR},
      {.name = "replace: no child",
       .operation = [](W& w) { return w.Replace("r", "n", nullptr); },
       .error = kNullParameter},
      {.name = "replace: first",
       .operation = [](W& w) { return w.Replace("r", "m", "a"); },
       .result = "a",
       .document = "<!DOCTYPE t><r><m>y</m><!--c-->z</r>",
       .placed = "m",
       .taken = "a",
       .noted = "r"},
      {.name = "replace: by the next",
       .operation = [](W& w) { return w.Replace("r", "c", "a"); },
       .result = "a",
       .document = "<!DOCTYPE t><r><!--c-->z</r>",
       .taken = "a"},
      {.name = "replace: by the previous",
       .operation = [](W& w) { return w.Replace("r", "a", "c"); },
       .result = "c",
       .document = "<!DOCTYPE t><r><a>x<b/></a>z</r>",
       .taken = "c"},
      {.name = "replace: by a descendant",
       .operation = [](W& w) { return w.Replace("r", "b", "a"); },
       .result = "a",
       .document = "<!DOCTYPE t><r><b/><!--c-->z</r>",
       .taken = "a"},
      {.name = "replace: by itself",
       .operation = [](W& w) { return w.Replace("r", "c", "c"); },
       .document = "<!DOCTYPE t><r><a>x<b/></a>z</r>",
       .taken = "c"},
      {.name = "replace: not a child",
       .operation = [](W& w) { return w.Replace("r", "n", "b"); },
       .error = DOM_NOT_FOUND_ERR},
      {.name = "replace: other document's",
       .operation = [](W& w) { return w.Replace("r", "o", "a"); },
       .error = DOM_WRONG_DOCUMENT_ERR},
      {.name = "replace: document element",
       .operation = [](W& w) { return w.Replace("D", "m", "r"); },
       .error = DOM_HIERARCHY_REQUEST_ERR},
      {.name = "replace: element by comment",
       .operation = [](W& w) { return w.Replace("D", "h", "r"); },
       .result = "r",
       .document = "<!DOCTYPE t><!--h-->",
       .placed = "h",
       .taken = "r"},
      {.name = "replace: type by type",
       .operation = [](W& w) { return w.Replace("D", "u", "t"); },
       .result = "t",
       .document = "<!DOCTYPE u><r><a>x<b/></a><!--c-->z</r>",
       .placed = "u",
       .taken = "t"},
      {.name = "replace: comment by second type",
       .operation =
           [](W& w) {
             w.Append("D", "h");
             return w.Replace("D", "u", "h");
           },
       .error = DOM_HIERARCHY_REQUEST_ERR,
       .document = "<!DOCTYPE t><r><a>x<b/></a><!--c-->z</r><!--h-->",
       .placed = "h"},
      {.name = "replace: by empty fragment",
       .operation = [](W& w) { return w.Replace("r", "E", "c"); },
       .result = "c",
       .document = "<!DOCTYPE t><r><a>x<b/></a>z</r>",
       .taken = "c"},
      {.name = "replace: by fragment",
       .operation = [](W& w) { return w.Replace("r", "F", "z"); },
       .result = "z",
       .document = "<!DOCTYPE t><r><a>x<b/></a><!--c-->1<g/>2</r>",
       .taken = "z"},
      {.name = "replace: by fragment in itself",
       .operation = [](W& w) { return w.Replace("F", "F", "g"); },
       .error = DOM_HIERARCHY_REQUEST_ERR},
      {.name = "replace: by one that misfits",
       .operation = [](W& w) { return w.Replace("D", "F", "r"); },
       .error = DOM_HIERARCHY_REQUEST_ERR},
      {.name = "remove: no parent",
       .operation = [](W& w) { return w.Remove(nullptr, "a"); },
       .error = kNullParameter},
      {.name = "remove: middle",
       .operation = [](W& w) { return w.Remove("r", "c"); },
       .result = "c",
       .document = "<!DOCTYPE t><r><a>x<b/></a>z</r>",
       .taken = "c",
       .noted = "r"},
      {.name = "remove: document element",
       .operation = [](W& w) { return w.Remove("D", "r"); },
       .result = "r",
       .document = "<!DOCTYPE t>",
       .taken = "r",
       .noted = "-"},
      {.name = "remove: only",
       .operation = [](W& w) { return w.Remove("m", "y"); },
       .result = "y",
       .taken = "y"},
      {.name = "remove: grandchild",
       .operation = [](W& w) { return w.Remove("r", "b"); },
       .error = DOM_NOT_FOUND_ERR},
      {.name = "remove: other document's",
       .operation = [](W& w) { return w.Remove("r", "o"); },
       .error = DOM_WRONG_DOCUMENT_ERR},
      {.name = "append: element makes room",
       .operation =
           [](W& w) {
             w.Remove("D", "r");
             return w.Append("D", "m");
           },
       .result = "m",
       .document = "<!DOCTYPE t><m>y</m>",
       .placed = "m",
       .taken = "r"},
      {.name = "append: type makes room",
       .operation =
           [](W& w) {
             w.Remove("D", "t");
             return w.Append("D", "u");
           },
       .result = "u",
       .document = "<r><a>x<b/></a><!--c-->z</r><!DOCTYPE u>",
       .placed = "u",
       .taken = "t"},
  };
  for (const Change& change : changes) {
    change.Check();
  }
}

TEST(Mutation, DocumentTypesHaveOwners) {
  World world;
  const struct {
    void (*change)(W&);
    const char* doctype;
    const char* owner;  // of it and of its lists
  } rows[] = {
      {.change = [](W&) {}, .doctype = "t", .owner = "D"},
      {.change = [](W& w) { w.Replace("D", "u", "t"); }, .doctype = "t", .owner = "D"},
      {.change = [](W&) {}, .doctype = "u", .owner = "D"},
      {.change = [](W& w) { w.Remove("D", "u"); }, .doctype = "u", .owner = nullptr},
      {.change = [](W& w) { w.Append("O", "u"); }, .doctype = "u", .owner = "O"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    row.change(world);
    const DOM_DocumentType* const doctype = world[row.doctype];
    EXPECT_EQ(doctype->ownerDocument, world[row.owner]);
    EXPECT_EQ(DOM_NodeList_ownerDocument(doctype->childNodes), world[row.owner]);
    EXPECT_EQ(DOM_NodeList_ownerDocument(DOM_DocumentTypePart(doctype).entities), world[row.owner]);
    EXPECT_EQ(DOM_NodeList_ownerDocument(DOM_DocumentTypePart(doctype).notations),
              world[row.owner]);
  }
  world.ExpectLoose("u", "t");
}

TEST(Mutation, FailureNamesOperationsInTheTrace) {
  const World world;
  world.Remove("D", "r");
  world.Append("D", "W");
  EXPECT_EQ(TraceText(),
            "src/node.cpp:N:DOM_Node_appendChild: The request violated tree hierarchy constraints\n"
            "  src/node.cpp:N:DOM_Node_appendChild: \n");
  EXPECT_EQ(TakeError(), DOM_HIERARCHY_REQUEST_ERR);
  world.ExpectLoose("", "r");
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
