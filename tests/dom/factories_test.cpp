#include "tests/dom/model.h"

namespace qvx::test {
namespace {

/// Name and value, whether there are lists of children and of attributes, and the length.
std::string Described(DOM_Node* node) {
  return Text(node->nodeName) + "=" + Text(node->nodeValue) +
         (node->childNodes != nullptr ? " children" : "") +
         (node->attributes != nullptr ? " attributes" : "") + " " +
         std::to_string(DOM_CharacterData_getLength(node));
}

TEST(Factories, MakeNodesWithCopiesOfTheirTexts) {
  const Tree tree;
  DOM_Document* const d = tree.document();
  char a[] = "first";
  char b[] = "a long second";
  const struct {
    uint16_t type;
    DOM_Node* node;
    std::string made;
    std::string changed = made;  // with the value "new"
  } rows[] = {
      {1, DOM_Document_createElement(d, a), "first=(null) children attributes 0"},
      {2, DOM_Document_createAttribute(d, a), "first= children 0", "first=new children 0"},
      {3, DOM_Document_createTextNode(d, b), "#text=a long second 13", "#text=new 3"},
      {4, DOM_Document_createCDATASection(d, b), "#cdata-section=a long second 13",
       "#cdata-section=new 3"},
      {5, DOM_Document_createEntityReference(d, a), "first=(null) children 0"},
      {6, Document_createNode(d, DOM_ENTITY_NODE), "(null)=(null) children 0"},
      {7, DOM_Document_createProcessingInstruction(d, a, b), "first=a long second 0",
       "first=new 0"},
      {8, DOM_Document_createComment(d, b), "#comment=a long second 13", "#comment=new 3"},
      {11, DOM_Document_createDocumentFragment(d), "#document-fragment=(null) children 0"},
      {12, Document_createNode(d, DOM_NOTATION_NODE), "(null)=(null) 0"},
  };
  a[0] = b[0] = 'x';
  for (const auto& row : rows) {
    SCOPED_TRACE(node_names[row.type]);
    const OwnedNode node(row.node);
    EXPECT_EQ(node->nodeType, row.type);
    EXPECT_EQ(Described(row.node), row.made);
    EXPECT_EQ(node->ownerDocument, d);
    EXPECT_TRUE(row.type != DOM_ATTRIBUTE_NODE || DOM_AttributePart(node.get()).specified == 1);
    DOM_Node_setNodeValue(row.node, "newer");
    DOM_Node_setNodeValue(row.node, "new");
    EXPECT_EQ(TakeError(), 0);
    DOM_Node_setNodeValue(row.node, nullptr);
    EXPECT_EQ(TakeError(), row.made == row.changed ? 0 : EINVAL);
    EXPECT_EQ(Described(row.node), row.changed);
    EXPECT_EQ(DOM_Node_getNodeValue(row.node), row.node->nodeValue);
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

/// The trace of a factory that makes nothing.
std::string Why(const DOM_Node* made) {
  EXPECT_EQ(made, nullptr);
  EXPECT_NE(TakeError(), 0);
  return TraceText();
}

TEST(Factories, SayWhyTheyMakeNothing) {
  const Tree tree;
  const std::string place = "src/dom.cpp:N:";
  EXPECT_EQ(Why(DOM_Document_createElement(nullptr, "e")),
            place + "Document_createNode: A parameter was NULL: doc=NULL,nodeType=1\n  " + place +
                "DOM_Document_createElement: \n");
  EXPECT_EQ(Why(Document_createNode(nullptr, 13)),
            place + "Document_createNode: A parameter was NULL: doc=NULL,nodeType=13\n");
  EXPECT_EQ(Why(Document_createNode(tree.document(), 13)),
            place + "Document_createNode: The requested operation is not supported\n");
  EXPECT_EQ(Why(DOM_Implementation_createDocument("", "", tree.root())),
            place +
                "DOM_Implementation_createDocument: The request violated tree hierarchy "
                "constraints\n");
  EXPECT_EQ(Why(DOM_Document_createProcessingInstruction(tree.document(), "t", nullptr)),
            place + "DOM_Document_createProcessingInstruction: Invalid argument\n");
  EXPECT_EQ(Why(DOM_Implementation_createDocumentType("t", nullptr, "\xff")),
            place +
                "DOM_Implementation_createDocumentType: Invalid or incomplete multibyte or "
                "wide character\n");
}

}  // namespace
}  // namespace qvx::test
