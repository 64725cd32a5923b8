#include "tests/dom/model.h"

namespace qvx::test {
namespace {

/// All that a clone copies, but for children, as one text.
std::string Described(DOM_Node* node) {
  std::string text = std::to_string(node->nodeType) + Text(node->nodeName) + "=" +
                     Text(node->nodeValue) + std::to_string(DOM_CharacterData_getLength(node));
  if (node->nodeType == DOM_ENTITY_NODE || node->nodeType == DOM_NOTATION_NODE) {
    const DOM_ExternalIdFields& id = DOM_ExternalIdPart(node);
    text += " " + Text(id.publicId) + " " + Text(id.systemId) + " " + Text(id.notationName);
  }
  if (node->nodeType == DOM_DOCUMENT_TYPE_NODE) {
    text += " " + Text(DOM_DocumentTypePart(node).publicId) + " " +
            Text(DOM_DocumentTypePart(node).systemId);
  }
  if (node->nodeType == DOM_ATTRIBUTE_NODE) {
    text += std::to_string(DOM_AttributePart(node).specified);
  }
  return text + Attributes(node);
}

TEST(Clone, CopiesWhatItsTypeHas) {
  const Tree tree;
  DOM_Document* const document = tree.document();
  DOM_Attr* const attribute = DOM_Document_createAttribute(document, "a");
  DOM_Node_setNodeValue(attribute, "v");
  DOM_AttributePart(attribute).specified = 0;
  tree.Add(attribute, "below");
  DOM_Node* const element = DOM_Document_createElement(document, "e");
  tree.Add(tree.Add(element, "<f"), "x");
  tree.Add(element, "!y");
  DOM_Element_setAttribute(element, "b", "2");
  DOM_Element_setAttribute(element, "a", "1");
  DOM_Node* const entity = Declaration(document, DOM_ENTITY_NODE, "n", "v");
  DOM_ExternalIdPart(entity) = {strdup("pub"), strdup("sys"), strdup("not")};
  const struct {
    DOM_Node* node;
    const char* deep = "";  // the children of a deep clone
    int32_t error = 0;      // of cloning, which gives null then
  } rows[] = {
      {element, "<f>x</f><!--y-->"},
      {attribute, "below"},
      {DOM_Document_createTextNode(document, "t")},
      {DOM_Document_createCDATASection(document, "cd")},
      {DOM_Document_createComment(document, "com")},
      {DOM_Document_createProcessingInstruction(document, "t", "d")},
      {DOM_Document_createDocumentFragment(document)},
      {DOM_Implementation_createDocumentType("t", "pub", nullptr)},
      {entity},
      {Declaration(document, DOM_NOTATION_NODE, "n")},
      {Declaration(document, DOM_ENTITY_NODE, "without value"), "", EINVAL},
      {DOM_Document_createEntityReference(document, "r"), "", DOM_NOT_SUPPORTED_ERR},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(node_names[row.node->nodeType]);
    const OwnedNode source(row.node);
    for (const int deep : {0, 1}) {
      const OwnedNode clone(DOM_Node_cloneNode(row.node, deep));
      EXPECT_EQ(TakeError(), row.error);
      ASSERT_EQ(clone == nullptr, row.error != 0);
      if (clone == nullptr) {
        continue;
      }
      EXPECT_EQ(Described(clone.get()), Described(row.node));
      EXPECT_EQ(clone->ownerDocument, row.node->ownerDocument);
      EXPECT_EQ(Xml(clone.get()), deep != 0 ? row.deep : "");
      EXPECT_EQ(Violation(clone.get()), "");
    }
  }
  EXPECT_EQ(Refusal(DOM_Node_cloneNode(nullptr, 1)), kNullParameter);
}

TEST(Clone, DocumentIsANewDocument) {
  const Tree tree;
  DOM_Node_appendChild(tree.AddDoctype("pub"),
                       Declaration(tree.document(), DOM_ENTITY_NODE, "d", "v"));
  tree.Add(tree.Add(tree.root(), "<a"), "x");
  DOM_DocumentPart(tree.document()).standalone = 1;
  EXPECT_EQ(Xml(OwnedNode(DOM_Node_cloneNode(tree.document(), 0)).get()), "");
  const OwnedNode deep(DOM_Node_cloneNode(tree.document(), 1));
  EXPECT_EQ(Xml(deep.get()), "<!DOCTYPE t [<!ENTITY d v>]><r><a>x</a></r>");
  EXPECT_EQ(DOM_DocumentPart(deep.get()).commonParent, deep->lastChild);
  EXPECT_EQ(Violation(deep.get()), "");
  EXPECT_EQ(deep->lastChild->firstChild->ownerDocument, deep.get());
  EXPECT_EQ(DOM_DocumentTypePart(deep->firstChild).entities->length, 1U);
  EXPECT_EQ(DOM_DocumentPart(deep.get()).standalone, 0);
}

TEST(Clone, FailureHasALineForEachLevel) {
  const Tree tree;
  DOM_Node* const e = tree.Add(tree.root(), "<e");
  DOM_Attr* const attribute = DOM_Document_createAttribute(tree.document(), "a");
  DOM_Element_setAttributeNode(e, attribute);
  tree.Add(attribute, "t")->nodeValue[0] = '\xff';
  const std::string inner = "  src/node.cpp:N:Node_cloneNode: \n";
  std::string lines = "  src/node.cpp:N:DOM_Node_cloneNode: \n";
  for (DOM_Node* node : {attribute->firstChild, attribute, e, tree.root(), tree.document()}) {
    SCOPED_TRACE(node->nodeName);
    EXPECT_EQ(DOM_Node_cloneNode(node, 1), nullptr);
    lines.insert(0, inner);
    const std::string trace = TraceText();
    EXPECT_EQ(trace.substr(trace.find("  src/node")), lines);
    EXPECT_EQ(TakeError(), EILSEQ);
  }
  DOM_Node* const valueless = DOM_Node_appendChild(
      tree.AddDoctype(), Declaration(tree.document(), DOM_ENTITY_NODE, "without value"));
  EXPECT_EQ(DOM_Node_cloneNode(valueless->parentNode, 1), nullptr);
  EXPECT_EQ(TraceText(), "src/node.cpp:N:Node_cloneNode: Invalid argument\n" + inner +
                             "  src/node.cpp:N:DOM_Node_cloneNode: \n");
  EXPECT_EQ(TakeError(), EINVAL);
  EXPECT_EQ(Refusal(DOM_Node_cloneNode(tree.document(), 1)), EINVAL);
  EXPECT_EQ(Violation(tree.document()), "");
}

TEST(Clone, DocumentTypeTakesThePlaceUntilItIsDestroyed) {
  auto tree = std::make_unique<Tree>();
  DOM_Node* const doctype = tree->AddDoctype();
  DOM_Node* const clone = DOM_Node_cloneNode(doctype, 1);
  EXPECT_EQ(DOM_Document_getDoctype(tree->document()), clone);
  EXPECT_EQ(DOM_Node_appendChild(tree->document(), clone), nullptr) << "the original is there";
  EXPECT_EQ(TakeError(), DOM_HIERARCHY_REQUEST_ERR);
  const OwnedNode other(DOM_Implementation_createDocument(nullptr, nullptr, clone));
  EXPECT_EQ(DOM_Document_getDoctype(tree->document()), doctype);
  DOM_Document_destroyNode(nullptr, DOM_Node_cloneNode(doctype, 1));
  EXPECT_EQ(Violation(tree->document()), "");
  OwnedNode former(DOM_Node_cloneNode(doctype, 1));
  const OwnedNode orphan(DOM_Node_cloneNode(doctype, 1));
  former.reset();
  EXPECT_EQ(DOM_Document_getDoctype(tree->document()), orphan.get());
  tree.reset();
  EXPECT_EQ(orphan->ownerDocument, nullptr);
}

}  // namespace
}  // namespace qvx::test
