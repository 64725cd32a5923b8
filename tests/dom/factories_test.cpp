#include "tests/dom/model.h"

namespace qvx::test {
namespace {

TEST(Factories, MakeNodesWithCopiesOfTheirTexts) {
  const Tree tree;
  DOM_Document* const d = tree.document();
  char a[] = "first";
  char b[] = "a long second";
  const struct {
    DOM_Node* node;
    uint16_t type;
    std::string name, value;
    bool has_children;  // a list of them, that is
    bool has_attributes;
    uint32_t length;
    uint32_t new_length;  // of "new"
  } rows[] = {
      {DOM_Document_createElement(d, a), 1, "first", "(null)", true, true, 0, 0},
      {DOM_Document_createAttribute(d, a), 2, "first", "", true, false, 0, 0},
      {DOM_Document_createTextNode(d, b), 3, "#text", b, false, false, 13, 3},
      {DOM_Document_createCDATASection(d, b), 4, "#cdata-section", b, false, false, 13, 3},
      {DOM_Document_createEntityReference(d, a), 5, "first", "(null)", true, false, 0, 0},
      {Document_createNode(d, DOM_ENTITY_NODE), 6, "(null)", "(null)", true, false, 0, 0},
      {DOM_Document_createProcessingInstruction(d, a, b), 7, "first", b, false, false, 0, 0},
      {DOM_Document_createComment(d, b), 8, "#comment", b, false, false, 13, 3},
      {DOM_Document_createDocumentFragment(d), 11, "#document-fragment", "(null)", true, false, 0,
       0},
      {Document_createNode(d, DOM_NOTATION_NODE), 12, "(null)", "(null)", false, false, 0, 0},
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
    EXPECT_EQ(node->ownerDocument, d);
    EXPECT_TRUE(row.type != DOM_ATTRIBUTE_NODE || DOM_AttributePart(node.get()).specified == 1);

    const bool takes_value = row.value != "(null)";
    DOM_Node_setNodeValue(row.node, "newer");
    DOM_Node_setNodeValue(row.node, "new");
    EXPECT_EQ(TakeError(), 0);
    DOM_Node_setNodeValue(row.node, nullptr);
    EXPECT_EQ(TakeError(), takes_value ? EINVAL : 0);
    EXPECT_EQ(Text(DOM_Node_getNodeValue(row.node)), takes_value ? "new" : "(null)");
    EXPECT_EQ(DOM_CharacterData_getLength(row.node), row.new_length);
  }
}

TEST(Factories, BareNodesHaveNoMaps) {
  const Tree tree;
  const OwnedNode element(Document_createNode(tree.document(), DOM_ELEMENT_NODE));
  EXPECT_EQ(element->attributes, nullptr);
  DOM_Element_setAttribute(element.get(), "a", "");
  DOM_Element_removeAttribute(element.get(), "a");
  EXPECT_EQ(TakeError(), DOM_NOT_FOUND_ERR);
  element->nodeName = strdup("e");
  EXPECT_NE(OwnedNode(DOM_Node_cloneNode(element.get(), 1))->attributes, nullptr);
  const OwnedNode doctype(Document_createNode(nullptr, DOM_DOCUMENT_TYPE_NODE));
  EXPECT_EQ(DOM_DocumentTypePart(doctype.get()).entities, nullptr);
  EXPECT_EQ(DOM_DocumentTypePart(doctype.get()).notations, nullptr);
}

TEST(Factories, DocumentTakesItsDocumentType) {
  DOM_DocumentType* const doctype = DOM_Implementation_createDocumentType("t", "public", nullptr);
  const OwnedNode document(DOM_Implementation_createDocument("uri", "name", doctype));
  EXPECT_EQ(Text(document->nodeName), "#document");
  EXPECT_EQ(Xml(document.get()), "<!DOCTYPE t>");
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
       "Document_createNode: A parameter was NULL: doc=NULL,nodeType=1\n"
       "  src/dom.cpp:N:DOM_Document_createElement: \n"},
      {[] { return Document_createNode(nullptr, 13); }, kNullParameter,
       "Document_createNode: A parameter was NULL: doc=NULL,nodeType=13\n"},
      {[&] { return Document_createNode(tree.document(), 13); }, DOM_NOT_SUPPORTED_ERR,
       "Document_createNode: The requested operation is not supported\n"},
      {[&] { return DOM_Implementation_createDocument("", "", tree.root()); },
       DOM_HIERARCHY_REQUEST_ERR,
       "DOM_Implementation_createDocument: The request violated tree hierarchy constraints\n"},
      {[&] { return DOM_Document_createProcessingInstruction(tree.document(), "t", nullptr); },
       EINVAL, "DOM_Document_createProcessingInstruction: Invalid argument\n"},
      {[] { return DOM_Implementation_createDocumentType("t", nullptr, "\xff"); }, EILSEQ,
       "DOM_Implementation_createDocumentType: Invalid or incomplete multibyte or wide "
       "character\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.trace);
    EXPECT_EQ(row.make(), nullptr);
    EXPECT_EQ(TakeError(), row.error);
    EXPECT_EQ(TraceText(), "src/dom.cpp:N:" + row.trace);
  }
}

}  // namespace
}  // namespace qvx::test
