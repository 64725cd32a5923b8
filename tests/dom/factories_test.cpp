#include "tests/dom/model.h"

namespace qvx::test {

TEST(Factories, MakeNodesWithCopiesOfTheirTexts) {
  const Tree tree;
  char a[] = "first";
  char b[] = "second";
  const struct {
    DOM_Node* node;
    uint16_t type;
    const char* name;
    const char* value;
    bool has_children;  // a list of them, that is
    bool has_attributes;
    uint32_t length;
  } rows[] = {
      {DOM_Document_createElement(tree.document(), a), DOM_ELEMENT_NODE, "first", "(null)", true,
       true, 0},
      {DOM_Document_createAttribute(tree.document(), a), DOM_ATTRIBUTE_NODE, "first", "", true,
       false, 0},
      {DOM_Document_createTextNode(tree.document(), b), DOM_TEXT_NODE, "#text", "second", false,
       false, 6},
      {DOM_Document_createCDATASection(tree.document(), b), DOM_CDATA_SECTION_NODE,
       "#cdata-section", "second", false, false, 6},
      {DOM_Document_createEntityReference(tree.document(), a), DOM_ENTITY_REFERENCE_NODE, "first",
       "(null)", true, false, 0},
      {Document_createNode(tree.document(), DOM_ENTITY_NODE), DOM_ENTITY_NODE, "(null)", "(null)",
       true, false, 0},
      {DOM_Document_createProcessingInstruction(tree.document(), a, b),
       DOM_PROCESSING_INSTRUCTION_NODE, "first", "second", false, false, 0},
      {DOM_Document_createComment(tree.document(), b), DOM_COMMENT_NODE, "#comment", "second",
       false, false, 6},
      {DOM_Document_createDocumentFragment(tree.document()), DOM_DOCUMENT_FRAGMENT_NODE,
       "#document-fragment", "(null)", true, false, 0},
      {Document_createNode(tree.document(), DOM_NOTATION_NODE), DOM_NOTATION_NODE, "(null)",
       "(null)", false, false, 0},
  };
  a[0] = b[0] = 'x';
  for (const auto& row : rows) {
    SCOPED_TRACE(node_names[row.type]);
    const OwnedNode node(row.node);
    EXPECT_EQ(node->nodeType, row.type);
    EXPECT_EQ(Text(node->nodeName), row.name);
    EXPECT_EQ(Text(node->nodeValue), row.value);
    EXPECT_EQ(node->childNodes != nullptr, row.has_children);
    EXPECT_EQ(node->attributes != nullptr, row.has_attributes);
    EXPECT_EQ(DOM_CharacterData_getLength(node.get()), row.length);
    EXPECT_EQ(node->ownerDocument, tree.document());
    if (row.type == DOM_ATTRIBUTE_NODE) {
      EXPECT_EQ(DOM_AttributePart(node.get()).specified, 1U);
    }
  }
}

TEST(Factories, DocumentTakesItsDocumentType) {
  DOM_DocumentType* const doctype = DOM_Implementation_createDocumentType("t", "public", nullptr);
  const OwnedNode document(DOM_Implementation_createDocument("uri", "name", doctype));
  EXPECT_EQ(Text(document->nodeName), "#document");
  EXPECT_EQ(Children(document.get()), "t{}");
  EXPECT_EQ(doctype->ownerDocument, document.get());
  EXPECT_EQ(DOM_DocumentPart(document.get()).doctype, doctype);
}

TEST(Factories, SayWhyTheyMakeNothing) {
  const Tree tree;
  const struct {
    std::function<DOM_Node*()> make;
    int32_t error;
    std::string trace;
  } rows[] = {
      {[] { return DOM_Document_createElement(nullptr, "e"); }, kNullParameter,
       "src/dom.cpp:N:Document_createNode: A parameter was NULL: doc=NULL,nodeType=1\n"
       "  src/dom.cpp:N:DOM_Document_createElement: \n"},
      {[] { return Document_createNode(nullptr, 13); }, kNullParameter,
       "src/dom.cpp:N:Document_createNode: A parameter was NULL: doc=NULL,nodeType=13\n"},
      {[&] { return Document_createNode(tree.document(), 13); }, DOM_NOT_SUPPORTED_ERR,
       "src/dom.cpp:N:Document_createNode: The requested operation is not supported\n"},
      {[&] { return DOM_Implementation_createDocument("", "", tree.root()); },
       DOM_HIERARCHY_REQUEST_ERR,
       "src/dom.cpp:N:DOM_Implementation_createDocument: The request violated tree hierarchy "
       "constraints\n"},
      {[&] { return DOM_Document_createProcessingInstruction(tree.document(), "t", nullptr); },
       EINVAL, "src/dom.cpp:N:DOM_Document_createProcessingInstruction: Invalid argument\n"},
      {[] { return DOM_Implementation_createDocumentType("t", nullptr, "\xff"); }, EILSEQ,
       "src/dom.cpp:N:DOM_Implementation_createDocumentType: Invalid or incomplete multibyte or "
       "wide character\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.trace);
    EXPECT_EQ(row.make(), nullptr);
    EXPECT_EQ(TakeError(), row.error);
    EXPECT_EQ(TraceText(), row.trace);
  }
}

}  // namespace qvx::test
