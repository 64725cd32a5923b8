#include <gtest/gtest.h>

#include <cerrno>

#include "tests/dom/model.h"

namespace qvx::test {
namespace {

TEST(Node, SetNodeValueKnowsTheTypes) {
  const Tree tree;
  DOM_Document* const document = tree.document();
  const struct {
    DOM_Node* node;
    const char* value;  // afterwards
    uint32_t length;
  } rows[] = {
      {DOM_Document_createAttribute(document, "a"), "new", 0},
      {DOM_Document_createTextNode(document, "old"), "new", 3},
      {DOM_Document_createCDATASection(document, "long old"), "new", 3},
      {DOM_Document_createComment(document, ""), "new", 3},
      {DOM_Document_createProcessingInstruction(document, "t", "old"), "new", 0},
      {DOM_Document_createElement(document, "e"), "(null)", 0},
      {DOM_Document_createEntityReference(document, "r"), "(null)", 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(node_names[row.node->nodeType]);
    const OwnedNode owned(row.node);
    DOM_Node_setNodeValue(row.node, "newer");
    DOM_Node_setNodeValue(row.node, "new");
    EXPECT_EQ(TakeError(), 0);
    DOM_Node_setNodeValue(row.node, nullptr);
    EXPECT_EQ(TakeError(), row.value[0] == 'n' ? EINVAL : 0);
    EXPECT_EQ(Text(DOM_Node_getNodeValue(row.node)), row.value);
    EXPECT_EQ(DOM_CharacterData_getLength(row.node), row.length);
  }
  DOM_Node_setNodeValue(nullptr, "new");
  EXPECT_EQ(TakeError(), kNullParameter);
  EXPECT_EQ(TraceText(), "src/node.cpp:N:DOM_Node_setNodeValue: A parameter was NULL\n");
  EXPECT_EQ(DOM_Node_getNodeValue(nullptr), nullptr);
  EXPECT_EQ(TakeError(), kNullParameter);
}

TEST(Node, HasChildNodes) {
  const Tree tree;
  EXPECT_EQ(DOM_Node_hasChildNodes(tree.root()), 0);
  tree.Add(tree.root(), "x");
  EXPECT_EQ(DOM_Node_hasChildNodes(tree.root()), 1);
  EXPECT_EQ(DOM_Node_hasChildNodes(nullptr), 0);
  EXPECT_EQ(TakeError(), 0);
}

TEST(Node, ElementsByTagNameInDocumentOrder) {
  const Tree tree;
  DOM_Node* const a = tree.Add(tree.root(), "<a");
  tree.Add(tree.Add(a, "<*x"), "<a");
  tree.Add(a, "text");
  DOM_Node* const reference =
      DOM_Node_appendChild(a, DOM_Document_createEntityReference(tree.document(), "a"));
  tree.Add(reference, "<hidden");
  tree.Add(tree.root(), "<**");
  const struct {
    DOM_Node* from;
    const char* name;
    const char* found;
  } rows[] = {
      {tree.document(), "*", "r a *x a ** "},
      {tree.document(), "a", "a a "},
      {tree.document(), "**", "** "},
      {tree.document(), "*x", "*x "},
      {tree.document(), "", ""},
      {a, "*", "*x a "},
      {a, "a", "a "},
      {tree.document(), "hidden", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto look_up =
        row.from == a ? DOM_Element_getElementsByTagName : DOM_Document_getElementsByTagName;
    NodeList* const found = look_up(row.from, row.name);
    const OwnedNode later(tree.Add(a, "<a"));
    std::string names;
    for (int32_t i = 0; const DOM_Node* node = DOM_NodeList_item(found, i); ++i) {
      names += std::string(node->nodeName) + " ";
    }
    EXPECT_EQ(names, row.found);
    DOM_Document_destroyNodeList(tree.document(), found, 0);
    DOM_Node_removeChild(a, later.get());
  }
  EXPECT_EQ(DOM_Document_getElementsByTagName(a, "*"), nullptr);
  EXPECT_EQ(DOM_Element_getElementsByTagName(a->lastChild, "*"), nullptr);
  EXPECT_EQ(TakeError(), 0);
}

TEST(Node, DepthDoesNotMatter) {
  constexpr uint32_t kDepth = 1000000;
  const Tree tree;
  DOM_Node* top = DOM_Document_createElement(tree.document(), "e");
  for (uint32_t i = 1; i < kDepth;
       ++i) {  // from the inside out, since a change deep down is noted all the way up
    DOM_Node* const outer = DOM_Document_createElement(tree.document(), "e");
    DOM_Node_appendChild(outer, top);
    top = outer;
  }
  DOM_Node_appendChild(tree.root(), top);
  DOM_Node* const clone = DOM_Node_cloneNode(tree.document(), 1);
  for (DOM_Document* document : {tree.document(), clone}) {
    NodeList* const found = DOM_Document_getElementsByTagName(document, "e");
    EXPECT_EQ(found->length, kDepth);
    DOM_Document_destroyNodeList(document, found, 0);
  }
  DOM_Document_destroyNode(clone, clone);
}

TEST(Node, DestructionClearsWhatTheDocumentNames) {
  const Tree tree;
  DOM_Node* const child = tree.Add(tree.root(), "<c");
  tree.Add(child, "t");
  DOM_DocumentFields& fields = DOM_DocumentPart(tree.document());
  fields.commonParent = child->firstChild;
  DOM_Document_destroyNode(tree.document(), DOM_Node_removeChild(tree.document(), tree.root()));
  EXPECT_EQ(fields.commonParent, nullptr);
  EXPECT_EQ(fields.documentElement, nullptr);
  DOM_Document_destroyNode(tree.document(), nullptr);
}

TEST(Node, Dumps) {
  const Tree tree;
  DOM_Element_setAttribute(tree.root(), "a", "1");
  DOM_Element_setAttribute(tree.root(), "b", "2");
  tree.Add(tree.Add(tree.root(), "<c"), "x");
  tree.Add(tree.root(), "!y");
  testing::internal::CaptureStdout();
  DOM_Node_printNode(tree.root());
  DOM_Node_printNode(nullptr);
  DOM_Node_printNode2(tree.document());
  EXPECT_EQ(
      testing::internal::GetCapturedStdout(),
      "\nnodeName=r,nodeValue=(null),\n\ttype=1,parentNode->nodeName=#document,firstChild->"
      "nodeName=c"
      ",lastChild->nodeName=#comment,\n\tchildNodes->length=2,previousSibling->nodeName=(null)"
      ",nextSibling->nodeName=(null),attributes->length=2\n"
      "node was null"
      "\nDOM_DOCUMENT_NODE: #document=(null)\n"
      "    DOM_ELEMENT_NODE: r=(null)\n"
      "    a=1,b=2\n"
      "        DOM_ELEMENT_NODE: c=(null)\n"
      "            DOM_TEXT_NODE: #text=x\n"
      "        DOM_COMMENT_NODE: #comment=y\n");
}

}  // namespace
}  // namespace qvx::test
