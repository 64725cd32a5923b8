#include <map>

#include "tests/dom/model.h"

namespace qvx::test {
namespace {

/// The names of the nodes, one letter each, read from the middle on, where the walk before it
/// ended.
std::string Names(NodeList* list) {
  std::string names(list->length, '?');
  for (size_t i = 0; i < names.size(); ++i) {
    const size_t index = (i + names.size() / 2) % names.size();
    const DOM_Node* const node = DOM_NodeList_item(list, static_cast<int32_t>(index));
    names[index] = node == nullptr ? '-' : node->nodeName[0];
  }
  return names;
}

/// A list of the elements a, b and c, and an element d that is not in it. The list is one by itself
/// or that of the children of a fragment. Its end detaches the children.
struct Lists : Tree {
  explicit Lists(bool of_children)
      : owned(of_children ? parent->childNodes : Document_createNodeList(document())) {
    for (const char* name : {"a", "b", "c", "d"}) {
      nodes[*name].reset(DOM_Document_createElement(document(), name));
      NodeList_append(*name == 'd' ? nullptr : list, nodes[*name].get());
    }
    TakeError();
  }
  DOM_Node* operator[](char name) { return nodes[name].get(); }

  OwnedNode parent{DOM_Document_createDocumentFragment(document())};
  std::map<char, OwnedNode> nodes;
  OwnedList owned;
  NodeList* list = owned.get();
};

TEST(NodeList, ChangesAreTheSameForBothKinds) {
  enum Change { kAppend, kInsert, kReplace };
  const struct {
    Change change;
    char node;
    char other = '-';  // that it is put in front of, or that it replaces
    std::string names = "abc";
    int32_t error = 0;
  } rows[] = {
      {.change = kAppend, .node = 'd', .names = "abcd"},
      {.change = kAppend, .node = '-', .error = kNullParameter},
      {.change = kInsert, .node = 'd', .other = 'a', .names = "dabc"},
      {.change = kInsert, .node = 'd', .other = 'c', .names = "abdc"},
      {.change = kInsert, .node = 'd', .names = "abcd"},
      {.change = kInsert, .node = 'd', .other = 'd', .error = DOM_NOT_FOUND_ERR},
      {.change = kReplace, .node = 'd', .other = 'b', .names = "adc"},
      {.change = kReplace, .node = 'b', .other = 'b'},
      {.change = kReplace, .node = 'a', .other = 'd', .error = DOM_NOT_FOUND_ERR},
      {.change = kReplace, .node = 'd', .error = DOM_NOT_FOUND_ERR},
      {.change = kReplace, .node = '-', .other = 'a', .error = kNullParameter},
  };
  for (const auto& row : rows) {
    for (const bool of_children : {false, true}) {
      SCOPED_TRACE(testing::Message() << &row - rows << " " << of_children);
      Lists lists(of_children);
      DOM_Node* const node = lists[row.node];
      DOM_Node* const other = lists[row.other];
      EXPECT_EQ(DOM_NodeList_item(lists.list, 1), lists['b']);  // remembers the middle
      const auto put = row.change == kInsert ? NodeList_insert : NodeList_replace;
      const NodeEntry* const entry =
          row.change == kAppend ? NodeList_append(lists.list, node) : put(lists.list, node, other);
      EXPECT_EQ(entry != nullptr, row.error == 0);
      EXPECT_EQ(TakeError(), row.error);
      EXPECT_EQ(Names(lists.list), row.names);
      EXPECT_EQ(DOM_NodeList_item(lists.list, -1), nullptr);
      EXPECT_EQ(ViolationAt(lists.parent.get()), "");
      const bool has_b = row.names.find('b') != std::string::npos;
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
  Lists lists(true);
  NodeList_append(lists['a']->childNodes, lists['d']);
  for (DOM_Node* node : {lists['d'], lists['b'], lists.parent.get()}) {
    EXPECT_EQ(Refusal(NodeList_append(lists['d']->childNodes, node)), DOM_HIERARCHY_REQUEST_ERR);
  }
  std::free(NodeList_remove(lists['a']->childNodes, lists['d']));
  EXPECT_EQ(NodeList_append(nullptr, nullptr), nullptr);
  EXPECT_EQ(TraceText(), "src/nodelist.cpp:N:NodeList_append: A parameter was NULL: (nil)\n");
}

TEST(NodeList, ViewsShowTheDeclarationsOfTheirKind) {
  const Tree tree;
  DOM_Node* const doctype = tree.AddDoctype();
  NamedNodeMap* const entities = DOM_DocumentTypePart(doctype).entities;
  NamedNodeMap* const notations = DOM_DocumentTypePart(doctype).notations;
  for (const char* name : {"n", "a", "m", "b", "c"}) {
    const uint16_t type = *name > 'c' ? DOM_NOTATION_NODE : DOM_ENTITY_NODE;
    DOM_Node_appendChild(doctype, Declaration(tree.document(), type, name));
  }
  EXPECT_EQ(Names(entities), "abc");
  EXPECT_EQ(Names(notations), "nm");
  OwnedNode b(DOM_Node_removeChild(doctype, DOM_NodeList_item(entities, 1)));
  EXPECT_EQ(DOM_NodeList_item(entities, 1), doctype->lastChild);
  DOM_Node_insertBefore(doctype, Declaration(tree.document(), DOM_ENTITY_NODE, "d"),
                        doctype->firstChild);
  EXPECT_EQ(Names(entities), "dac");
  EXPECT_EQ(DOM_NamedNodeMap_getNamedItem(entities, "d"), doctype->firstChild);
  EXPECT_EQ(DOM_NamedNodeMap_getNamedItem(entities, "n"), nullptr);
  EXPECT_EQ(NodeList_exists(entities, doctype->firstChild), 0);
  EXPECT_EQ(TakeError(), 0);

  EXPECT_EQ(Refusal(NodeList_append(entities, b.get())), DOM_FILTERED_LIST_ERR);
  EXPECT_EQ(Refusal(DOM_NamedNodeMap_setNamedItem(entities, b.get())),
            DOM_NO_MODIFICATION_ALLOWED_ERR);
  EXPECT_EQ(Refusal(DOM_NamedNodeMap_removeNamedItem(notations, "n")),
            DOM_NO_MODIFICATION_ALLOWED_ERR);
  DOM_Document_destroyNodeList(tree.document(), entities, 1);
  EXPECT_EQ(Names(entities), "dac");
}

TEST(NodeList, EveryStepIsCheap) {
  constexpr int32_t kChildren = 200000;
  const Tree tree;
  DOM_Node* const root = tree.root();
  DOM_Node* const middle = tree.Add(root, "m");
  DOM_Node* const doctype = tree.AddDoctype();
  for (int32_t i = 0; i < kChildren; ++i) {
    DOM_Node_insertBefore(root, DOM_Document_createTextNode(tree.document(), ""),
                          i % 2 == 0 ? nullptr : middle);
    DOM_Node_appendChild(doctype, Declaration(tree.document(), DOM_ENTITY_NODE, "e"));
  }
  DOM_Node* node = root->lastChild;
  for (int32_t i = kChildren; i >= 0; --i, node = node->previousSibling) {
    ASSERT_EQ(DOM_NodeList_item(root->childNodes, i), node);
  }
  node = doctype->firstChild;
  for (int32_t i = 0; i < kChildren; ++i, node = node->nextSibling) {
    ASSERT_EQ(DOM_NodeList_item(DOM_DocumentTypePart(doctype).entities, i), node);
  }
  for (int32_t i = 0; i <= kChildren; ++i) {
    const OwnedNode old(DOM_NodeList_item(root->childNodes, i));
    const auto put = i % 2 == 0 ? DOM_Node_replaceChild : DOM_Node_insertBefore;
    ASSERT_NE(put(root, DOM_Document_createElement(tree.document(), "e"), old.get()), nullptr);
    DOM_Node_removeChild(root, old.get());
  }
  const OwnedList found(DOM_Document_getElementsByTagName(tree.document(), "e"));
  for (int32_t i = 0; i <= kChildren; ++i) {
    const OwnedNode removed(DOM_Node_removeChild(root, DOM_NamedNodeMap_item(found.get(), i)));
    ASSERT_NE(removed, nullptr);
  }
}

// Some lists at a time remember what they delivered, and none that is gone.
TEST(NodeList, ManyWalksAtATime) {
  const Tree tree;
  std::vector<DOM_Node*> parents;
  for (int i = 0; i < 30; ++i) {
    DOM_Node* const element = parents.emplace_back(tree.Add(tree.root(), "<e"));
    for (const char* name : {"a", "b", "c"}) {
      DOM_Element_setAttribute(element, name, "");
      tree.Add(element, name);
    }
  }
  for (size_t walks = 1; walks <= parents.size(); ++walks) {
    for (int32_t index = 0; index < 3; ++index) {
      for (size_t i = 0; i < walks; ++i) {
        const std::string name(1, static_cast<char>('a' + index));
        EXPECT_EQ(DOM_NodeList_item(parents[i]->childNodes, index)->nodeValue, name);
        EXPECT_EQ(DOM_NodeList_item(parents[i]->attributes, index)->nodeName, name);
      }
    }
    DOM_Node* const fresh = tree.Add(tree.root(), "<e");
    tree.Add(fresh, "x");
    DOM_Document_destroyNode(tree.document(), DOM_Node_removeChild(tree.root(), parents[0]));
    parents.erase(parents.begin());
    DOM_Node* const doctype = tree.AddDoctype();
    for (const uint16_t type : {DOM_ENTITY_NODE, DOM_NOTATION_NODE}) {
      DOM_Node_appendChild(doctype, Declaration(tree.document(), type, "d"));
    }
    const DOM_DocumentTypeFields& views = DOM_DocumentTypePart(doctype);
    EXPECT_NE(DOM_NodeList_item(views.entities, 0), DOM_NodeList_item(views.notations, 0));
    DOM_Document_destroyNode(nullptr, DOM_Node_removeChild(tree.document(), doctype));
    EXPECT_EQ(DOM_NodeList_item(fresh->childNodes, 0), fresh->firstChild);
  }
}

TEST(NamedNodeMap, HoldsOneElementsAttributesOnly) {
  const Tree tree;
  NamedNodeMap* const map = tree.root()->attributes;
  NamedNodeMap* const second = tree.Add(tree.root(), "<s")->attributes;
  const OwnedNode text(DOM_Document_createTextNode(tree.document(), ""));
  const OwnedNode a(DOM_Document_createAttribute(tree.document(), "a"));
  DOM_Attr* const a2 = DOM_Document_createAttribute(tree.document(), "a");
  EXPECT_EQ(Refusal(DOM_NamedNodeMap_setNamedItem(map, nullptr)), 0);
  EXPECT_EQ(Refusal(DOM_NamedNodeMap_setNamedItem(map, text.get())), DOM_HIERARCHY_REQUEST_ERR);
  EXPECT_EQ(DOM_NamedNodeMap_setNamedItem(map, a.get()), nullptr);
  EXPECT_EQ(DOM_NamedNodeMap_setNamedItem(map, a2), a.get());
  EXPECT_EQ(Refusal(DOM_NamedNodeMap_setNamedItem(second, a.get())), 0);
  EXPECT_EQ(DOM_NodeList_item(map, 0), a2);
  EXPECT_EQ(Refusal(NodeList_append(map, a.get())), DOM_INUSE_ATTRIBUTE_ERR);
  const OwnedList plain(Document_createNodeList(tree.document()));
  NodeList_append(plain.get(), text.get());
  EXPECT_NE(NodeList_replace(plain.get(), a.get(), text.get()), nullptr);
  EXPECT_EQ(DOM_AttributePart(a.get()).ownerElement, DOM_NodeList_ownerElement(second));
  EXPECT_EQ(DOM_NodeList_ownerDocument(plain.get()), tree.document());
  EXPECT_NE(NodeList_replace(plain.get(), text.get(), a.get()), nullptr);
  EXPECT_EQ(DOM_AttributePart(a.get()).ownerElement, nullptr);
  EXPECT_EQ(DOM_NamedNodeMap_removeNamedItem(second, "a"), a.get());
  EXPECT_EQ(DOM_AttributePart(a.get()).ownerElement, nullptr);
  EXPECT_EQ(Refusal(DOM_NamedNodeMap_removeNamedItem(second, "a")), DOM_NOT_FOUND_ERR);
  const Tree other;
  const OwnedNode stranger(DOM_Document_createElement(other.document(), "s"));
  NamedNodeMap* const loose = Document_createNamedNodeMap(tree.document());
  EXPECT_EQ(Refusal(DOM_NamedNodeMap_setNamedItem(loose, stranger.get())), DOM_WRONG_DOCUMENT_ERR);
  DOM_NamedNodeMap_setNamedItem(loose, DOM_Document_createElement(tree.document(), "e"));
  DOM_Document_destroyNamedNodeMap(tree.document(), loose, 1);
}

}  // namespace
}  // namespace qvx::test
