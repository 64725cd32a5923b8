#include <gtest/gtest.h>

#include <map>

#include "tests/dom/invariants.h"
#include "tests/dom/model.h"

namespace qvx::test {
namespace {

/// The names of the nodes, one letter each, read from the middle on, where a walk leaves the list's
/// cursor.
std::string Names(NodeList* list) {
  std::string names(list->length, '?');
  for (size_t i = 0; i < names.size(); ++i) {
    const size_t index = (i + names.size() / 2) % names.size();
    const DOM_Node* const node = DOM_NodeList_item(list, static_cast<int32_t>(index));
    names[index] = node == nullptr ? '-' : node->nodeName[0];
  }
  return names;
}

struct ListDeleter {
  void operator()(NodeList* list) const { DOM_Document_destroyNodeList(nullptr, list, 0); }
};

/// A list that holds the elements a, b and c, but not d: one with entries of its own, or the
/// children of a fragment, which the end of the list detaches.
struct Lists : Tree {
  explicit Lists(bool of_children)
      : owned(of_children ? parent->childNodes : Document_createNodeList(document())) {
    for (const char* name : {"a", "b", "c", "d"}) {
      nodes[*name].reset(DOM_Document_createElement(document(), name));
      NodeList_append(*name == 'd' ? nullptr : list, nodes[*name].get());
    }
    TakeError();
  }
  DOM_Node* operator[](char name) const { return nodes.at(name).get(); }

  OwnedNode parent{DOM_Document_createDocumentFragment(document())};
  std::map<char, OwnedNode> nodes;
  std::unique_ptr<NodeList, ListDeleter> owned;
  NodeList* list = owned.get();
};

TEST(NodeList, ChangesAreTheSameForBothKinds) {
  const struct {
    const char* name;
    NodeEntry* (*change)(const Lists& lists);
    const char* names;
    int32_t error;
  } rows[] = {
      {"append d", [](const Lists& l) { return NodeList_append(l.list, l['d']); }, "abcd", 0},
      {"append none", [](const Lists& l) { return NodeList_append(l.list, nullptr); }, "abc",
       kNullParameter},
      {"insert d before a", [](const Lists& l) { return NodeList_insert(l.list, l['d'], l['a']); },
       "dabc", 0},
      {"insert d before c", [](const Lists& l) { return NodeList_insert(l.list, l['d'], l['c']); },
       "abdc", 0},
      {"insert d at the end",
       [](const Lists& l) { return NodeList_insert(l.list, l['d'], nullptr); }, "abcd", 0},
      {"insert d before itself",
       [](const Lists& l) { return NodeList_insert(l.list, l['d'], l['d']); }, "abc",
       DOM_NOT_FOUND_ERR},
      {"replace b by d", [](const Lists& l) { return NodeList_replace(l.list, l['d'], l['b']); },
       "adc", 0},
      {"replace b by itself",
       [](const Lists& l) { return NodeList_replace(l.list, l['b'], l['b']); }, "abc", 0},
      {"replace d, which is not there",
       [](const Lists& l) { return NodeList_replace(l.list, l['a'], l['d']); }, "abc",
       DOM_NOT_FOUND_ERR},
      {"replace none", [](const Lists& l) { return NodeList_replace(l.list, l['d'], nullptr); },
       "abc", DOM_NOT_FOUND_ERR},
      {"replace a by none",
       [](const Lists& l) { return NodeList_replace(l.list, nullptr, l['a']); }, "abc",
       kNullParameter},
  };
  for (const auto& row : rows) {
    for (const bool of_children : {false, true}) {
      SCOPED_TRACE(row.name + std::string(of_children ? " among children" : ""));
      const Lists lists(of_children);
      EXPECT_EQ(DOM_NodeList_item(lists.list, 1), lists['b']);  // leaves the cursor in the middle
      EXPECT_EQ(row.change(lists) != nullptr, row.error == 0);
      EXPECT_EQ(TakeError(), row.error);
      EXPECT_EQ(Names(lists.list), row.names);
      EXPECT_EQ(DOM_NodeList_item(lists.list, -1), nullptr);
      EXPECT_EQ(ViolationAt(lists.parent.get()), "");
      const bool has_b = std::string(row.names).find('b') != std::string::npos;
      EXPECT_EQ(NodeList_exists(lists.list, lists['b']), has_b ? 1 : 0);
      const std::unique_ptr<NodeEntry, decltype(&std::free)> removed(
          NodeList_remove(lists.list, lists['b']), std::free);
      EXPECT_EQ(removed != nullptr, has_b);
      EXPECT_EQ(NodeList_exists(lists.list, lists['b']), 0);
      EXPECT_EQ(TakeError(), 0);
    }
  }
}

TEST(NodeList, WhatWouldBreakATreeIsRefused) {
  const Lists lists(true);
  NodeList_append(lists['a']->childNodes, lists['d']);
  for (DOM_Node* node : {lists['d'], lists['b'], lists.parent.get()}) {
    EXPECT_EQ(NodeList_append(lists['d']->childNodes, node), nullptr);
    EXPECT_EQ(TakeError(), DOM_HIERARCHY_REQUEST_ERR);
  }
  std::free(NodeList_remove(lists['a']->childNodes, lists['d']));
  EXPECT_EQ(NodeList_append(nullptr, nullptr), nullptr);
  EXPECT_EQ(TraceText(), "src/nodelist.cpp:N:NodeList_append: A parameter was NULL: (nil)\n");
}

TEST(NodeList, ViewsShowTheDeclarationsOfTheirKind) {
  const Tree tree;
  DOM_Node* const doctype = DOM_Node_insertBefore(
      tree.document(), DOM_Implementation_createDocumentType("t", nullptr, nullptr), tree.root());
  NamedNodeMap* const entities = DOM_DocumentTypePart(doctype).entities;
  NamedNodeMap* const notations = DOM_DocumentTypePart(doctype).notations;
  for (const char* name : {"n", "a", "m", "b", "c"}) {
    DOM_Node_appendChild(
        doctype,
        Declaration(tree.document(), *name > 'c' ? DOM_NOTATION_NODE : DOM_ENTITY_NODE, name));
  }
  EXPECT_EQ(Names(entities), "abc");
  EXPECT_EQ(Names(notations), "nm");
  EXPECT_EQ(DOM_NodeList_item(entities, 2), doctype->lastChild);
  EXPECT_EQ(DOM_NodeList_item(entities, 1), doctype->lastChild->previousSibling);
  OwnedNode b(DOM_Node_removeChild(doctype, DOM_NodeList_item(entities, 1)));
  EXPECT_EQ(DOM_NodeList_item(entities, 1), doctype->lastChild);
  DOM_Node_insertBefore(doctype, Declaration(tree.document(), DOM_ENTITY_NODE, "d"),
                        doctype->firstChild);
  EXPECT_EQ(Names(entities), "dac");
  EXPECT_EQ(DOM_NamedNodeMap_getNamedItem(entities, "d"), doctype->firstChild);
  EXPECT_EQ(DOM_NamedNodeMap_getNamedItem(entities, "n"), nullptr);
  EXPECT_EQ(NodeList_exists(entities, doctype->firstChild), 0);
  EXPECT_EQ(TakeError(), 0);

  EXPECT_EQ(NodeList_append(entities, b.get()), nullptr);
  EXPECT_EQ(TakeError(), DOM_FILTERED_LIST_ERR);
  EXPECT_EQ(DOM_NamedNodeMap_setNamedItem(entities, b.get()), nullptr);
  EXPECT_EQ(TakeError(), DOM_NO_MODIFICATION_ALLOWED_ERR);
  EXPECT_EQ(DOM_NamedNodeMap_removeNamedItem(notations, "n"), nullptr);
  EXPECT_EQ(TakeError(), DOM_NO_MODIFICATION_ALLOWED_ERR);
  DOM_Document_destroyNodeList(tree.document(), entities, 1);
  EXPECT_EQ(Names(entities), "dac");
}

TEST(NodeList, EveryStepIsCheap) {
  constexpr int32_t kChildren = 200000;
  const Tree tree;
  DOM_Node* const middle = tree.Add(tree.root(), "m");
  DOM_Node* const doctype = DOM_Node_insertBefore(
      tree.document(), DOM_Implementation_createDocumentType("t", nullptr, nullptr), tree.root());
  for (int32_t i = 0; i < kChildren; ++i) {
    DOM_Node_insertBefore(tree.root(), DOM_Document_createTextNode(tree.document(), ""),
                          i % 2 == 0 ? nullptr : middle);
    DOM_Node_appendChild(doctype, Declaration(tree.document(), DOM_ENTITY_NODE, "e"));
  }
  NodeList* const list = tree.root()->childNodes;
  DOM_Node* node = tree.root()->lastChild;
  for (int32_t i = kChildren; i >= 0; --i, node = node->previousSibling) {
    ASSERT_EQ(DOM_NodeList_item(list, i), node);
  }
  node = doctype->firstChild;
  for (int32_t i = 0; i < kChildren; ++i, node = node->nextSibling) {
    ASSERT_EQ(DOM_NodeList_item(DOM_DocumentTypePart(doctype).entities, i), node);
  }
  for (int32_t i = 0; i <= kChildren; ++i) {
    DOM_Node* const fresh = DOM_Document_createElement(tree.document(), "e");
    const OwnedNode old(DOM_NodeList_item(list, i));
    ASSERT_NE(i % 2 == 0 ? DOM_Node_replaceChild(tree.root(), fresh, old.get())
                         : DOM_Node_insertBefore(tree.root(), fresh, old.get()),
              nullptr);
    DOM_Node_removeChild(tree.root(), old.get());
  }
  NodeList* const found = DOM_Document_getElementsByTagName(tree.document(), "e");
  for (int32_t i = 0; i <= kChildren; ++i) {
    const OwnedNode removed(DOM_Node_removeChild(tree.root(), DOM_NamedNodeMap_item(found, i)));
    ASSERT_NE(removed, nullptr);
  }
  DOM_Document_destroyNodeList(tree.document(), found, 0);  // its nodes are gone
}

TEST(NamedNodeMap, SetTakesOneElementsAttributesOnly) {
  const Tree tree;
  NamedNodeMap* const map = tree.root()->attributes;
  NamedNodeMap* const second = tree.Add(tree.root(), "<s")->attributes;
  const OwnedNode text(DOM_Document_createTextNode(tree.document(), ""));
  const OwnedNode a(DOM_Document_createAttribute(tree.document(), "a"));
  DOM_Attr* const a2 = DOM_Document_createAttribute(tree.document(), "a");
  const struct {
    const char* name;
    NamedNodeMap* map;
    DOM_Node* node;
    DOM_Node* displaced;
    int32_t error;
    const char* names;
  } rows[] = {
      {"no node", map, nullptr, nullptr, 0, ""},
      {"a text", map, text.get(), nullptr, DOM_HIERARCHY_REQUEST_ERR, ""},
      {"a new attribute", map, a.get(), nullptr, 0, "a"},
      {"the same again", map, a.get(), a.get(), 0, "a"},
      {"in use elsewhere", second, a.get(), nullptr, DOM_INUSE_ATTRIBUTE_ERR, "a"},
      {"another of the name", map, a2, a.get(), 0, "a"},
      {"the displaced one", second, a.get(), nullptr, 0, "a"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(DOM_NamedNodeMap_setNamedItem(row.map, row.node), row.displaced);
    EXPECT_EQ(TakeError(), row.error);
    EXPECT_EQ(Names(map), row.names);
  }
  EXPECT_EQ(DOM_NodeList_item(map, 0), a2);
  EXPECT_EQ(DOM_AttributePart(a.get()).ownerElement, second->ownerElement);
  EXPECT_EQ(NodeList_append(map, a.get()), nullptr);
  EXPECT_EQ(TakeError(), DOM_INUSE_ATTRIBUTE_ERR);
  const std::unique_ptr<NodeList, ListDeleter> plain(Document_createNodeList(tree.document()));
  NodeList_append(plain.get(), text.get());
  EXPECT_NE(NodeList_replace(plain.get(), a.get(), text.get()), nullptr);
  EXPECT_EQ(DOM_AttributePart(a.get()).ownerElement, second->ownerElement);
  EXPECT_EQ(DOM_NamedNodeMap_removeNamedItem(second, "a"), a.get());
  EXPECT_EQ(DOM_AttributePart(a.get()).ownerElement, nullptr);
  EXPECT_EQ(DOM_NamedNodeMap_removeNamedItem(second, "a"), nullptr);
  EXPECT_EQ(TakeError(), DOM_NOT_FOUND_ERR);
}

}  // namespace
}  // namespace qvx::test
