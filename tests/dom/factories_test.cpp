#include "tests/dom/model.h"

namespace qvx::test {

TEST(Factories, MakeNodesWithCopiesOfTheirTexts) {
  const Tree tree;
  char a[] = "first";
  char b[] = "second";
  // Type, name, value, whether there are a child list and an attribute map, length.
  const std::pair<DOM_Node*, std::string> rows[] = {
      {DOM_Document_createElement(tree.document(), a), "1 first (null) 1 1 0"},
      {DOM_Document_createAttribute(tree.document(), a), "2 first  1 0 0"},
      {DOM_Document_createTextNode(tree.document(), b), "3 #text second 0 0 6"},
      {DOM_Document_createCDATASection(tree.document(), b), "4 #cdata-section second 0 0 6"},
      {DOM_Document_createEntityReference(tree.document(), a), "5 first (null) 1 0 0"},
      {Document_createNode(tree.document(), 6), "6 (null) (null) 1 0 0"},
      {DOM_Document_createProcessingInstruction(tree.document(), a, b), "7 first second 0 0 0"},
      {DOM_Document_createComment(tree.document(), b), "8 #comment second 0 0 6"},
      {DOM_Document_createDocumentFragment(tree.document()), "11 #document-fragment (null) 1 0 0"},
      {Document_createNode(tree.document(), 12), "12 (null) (null) 0 0 0"},
  };
  a[0] = b[0] = 'x';
  for (const auto& [made, fields] : rows) {
    const OwnedNode node(made);
    EXPECT_EQ(std::to_string(node->nodeType) + " " + Text(node->nodeName) + " " +
                  Text(node->nodeValue) + (node->childNodes != nullptr ? " 1" : " 0") +
                  (node->attributes != nullptr ? " 1 " : " 0 ") +
                  std::to_string(DOM_CharacterData_getLength(node.get())),
              fields);
    EXPECT_EQ(node->ownerDocument, tree.document());
    EXPECT_TRUE(node->nodeType != DOM_ATTRIBUTE_NODE ||
                DOM_AttributePart(node.get()).specified == 1);
  }
}

TEST(Factories, DocumentTakesItsDocumentType) {
  DOM_DocumentType* const doctype = DOM_Implementation_createDocumentType("t", "public", nullptr);
  const OwnedNode document(DOM_Implementation_createDocument("uri", "name", doctype));
  EXPECT_EQ(Text(document->nodeName) + Children(document.get()), "#documentt{}");
  EXPECT_EQ(doctype->ownerDocument, document.get());
  EXPECT_EQ(doctype, DOM_DocumentPart(document.get()).doctype);
}

TEST(Factories, SayWhyTheyMakeNothing) {
  const Tree tree;
  const std::tuple<std::function<DOM_Node*()>, int32_t, std::string> rows[] = {
      {[] { return DOM_Document_createElement(nullptr, "e"); }, 0x10000,
       "src/dom.cpp:N:Document_createNode: A parameter was NULL: doc=NULL,nodeType=1\n"
       "  src/dom.cpp:N:DOM_Document_createElement: \n"},
      {[] { return Document_createNode(nullptr, 13); }, 0x10000,
       "src/dom.cpp:N:Document_createNode: A parameter was NULL: doc=NULL,nodeType=13\n"},
      {[&] { return Document_createNode(tree.document(), 13); }, 0x20009,
       "src/dom.cpp:N:Document_createNode: The requested operation is not supported\n"},
      {[&] { return DOM_Implementation_createDocument("", "", tree.root()); }, 0x20003,
       "src/dom.cpp:N:DOM_Implementation_createDocument: The request violated tree hierarchy "
       "constraints\n"},
      {[&] { return DOM_Document_createProcessingInstruction(tree.document(), "t", nullptr); },
       EINVAL, "src/dom.cpp:N:DOM_Document_createProcessingInstruction: Invalid argument\n"},
      {[] { return DOM_Implementation_createDocumentType("t", nullptr, "\xff"); }, EILSEQ,
       "src/dom.cpp:N:DOM_Implementation_createDocumentType: Invalid or incomplete multibyte or "
       "wide character\n"},
  };
  for (const auto& [make, code, trace] : rows) {
    EXPECT_EQ(make(), nullptr);
    EXPECT_EQ(TakeError(), code);
    EXPECT_EQ(TraceText(), trace);
  }
}

}  // namespace qvx::test
