#include "dom/parse_context.h"
#include "tests/dom/model.h"

namespace qvx::test {
namespace {

void Ignore(DOM_EventListener* /*listener*/, DOM_Event* /*event*/) {}

std::string Names(NodeList* list) {
  std::string names;
  for (int32_t i = 0; const DOM_Node* node = DOM_NodeList_item(list, i); ++i) {
    names += Text(node->nodeName) + " ";
  }
  return names;
}

TEST(Node, NoNode) {
  DOM_Node_setNodeValue(nullptr, "new");
  EXPECT_EQ(TakeError(), kNullParameter);
  EXPECT_EQ(TraceText(), "src/node.cpp:N:DOM_Node_setNodeValue: A parameter was NULL\n");
  EXPECT_EQ(Refusal(DOM_Node_getNodeValue(nullptr)), kNullParameter);
  EXPECT_EQ(DOM_Node_hasChildNodes(nullptr), 0);
  EXPECT_EQ(TakeError(), 0);
}

TEST(Node, NullIsRefusedOrIgnored) {
  const Tree tree;
  DOM_Document* const d = tree.document();
  DOM_Node* const r = tree.root();
  DOM_Node* const none = nullptr;
  const OwnedNode loose(DOM_Document_createElement(d, "a"));
  const std::function<void()> refused[] = {
      [&] { DOM_Node_appendChild(r, none); },
      [&] { DOM_Node_insertBefore(r, none, none); },
      [&] { DOM_Node_insertBefore(none, loose.get(), none); },
      [&] { DOM_Node_replaceChild(none, loose.get(), none); },
      [&] { DOM_Node_replaceChild(r, none, none); },
      [&] { DOM_Node_removeChild(r, none); },
      [&] { DOM_Node_cloneNode(none, 1); },
      [&] { DOM_CharacterData_appendData(none, "a"); },
      [&] { DOM_CharacterData_replaceData(none, 0, 1, "a"); },
      [&] { DOM_Text_splitText(none, 0); },
      [&] { EXPECT_EQ(utf8tods(nullptr, 1, nullptr), -1); },
      [&] { EXPECT_EQ(utf8tods("a", 1, nullptr), -1); },
      [&] { NodeList_append(nullptr, r); },
      [&] { DOM_EventTarget_addEventListener(none, "a", nullptr, Ignore, 0); },
      [&] { DOM_EventTarget_addEventListener(r, nullptr, nullptr, Ignore, 0); },
      [&] { DOM_EventTarget_addEventListener(r, "a", nullptr, nullptr, 0); },
      [&] { DOM_EventTarget_removeEventListener(none, "a", nullptr, Ignore, 0); },
      [&] { DOM_EventTarget_removeEventListener(r, nullptr, nullptr, Ignore, 0); },
      [&] { DOM_EventTarget_dispatchEvent(none, nullptr); },
      [&] { DOM_DocumentEvent_createEvent(none, "Events"); },
      [&] { DOM_DocumentEvent_createEvent(d, nullptr); },
      [&] { DOM_DocumentLS_load(d, nullptr); },
      [&] { DOM_DocumentLS_fread(d, nullptr); },
      [&] { DOM_DocumentLS_fread(none, stdin); },
      [&] { DOM_DocumentLS_fwrite(none, stdout); },
      [&] { DOM_DocumentLS_fwrite(r, nullptr); },
  };
  for (const auto& call : refused) {
    SCOPED_TRACE(&call - refused);
    call();
    EXPECT_EQ(TakeError(), kNullParameter);
  }
  DOM_Element_setAttribute(none, "a", "v");
  DOM_Element_setAttribute(r, nullptr, "v");
  DOM_Element_setAttribute(r, "a", nullptr);
  DOM_Element_removeAttribute(none, "a");
  DOM_Event_stopPropagation(nullptr);
  DOM_Event_preventDefault(nullptr);
  DOM_Event_initEvent(nullptr, "a", 0, 0);
  DOM_TextEvent_initModifier(nullptr, 1, 1);
  EXPECT_EQ(DOM_TextEvent_checkModifier(nullptr, 1), 0);
  DOM_Event event{};
  event.type = "a";
  DOM_Event_initEvent(&event, nullptr, 1, 1);
  DOM_TextEvent_initTextEvent(&event, "", 1, 1, &event, 1, "b", 1, 1, 1, 1);
  DOM_MutationEvent_initMutationEvent(&event, "", 1, 1, r, "b", "b", "b", 1);
  DOM_DocumentEvent_destroyEvent(nullptr, &event);
  EXPECT_EQ(Text(event.type) + Text(event.outputString) + Text(event.newValue), "a(null)(null)");
  DOM_EventTarget_removeEventListener(loose.get(), "a", nullptr, Ignore, 0);
  EXPECT_EQ(DOM_Document_getElementsByTagName(d, nullptr), nullptr);
  EXPECT_EQ(DOM_Element_getElementsByTagName(none, "a"), nullptr);
  EXPECT_EQ(DOM_Element_getElementsByTagName(r, nullptr), nullptr);
  EXPECT_EQ(DOM_NamedNodeMap_getNamedItem(nullptr, "a"), nullptr);
  EXPECT_EQ(DOM_NamedNodeMap_getNamedItem(r->attributes, nullptr), nullptr);
  EXPECT_EQ(Refusal(DOM_NamedNodeMap_removeNamedItem(nullptr, "a")), DOM_NOT_FOUND_ERR);
  EXPECT_EQ(NodeList_exists(nullptr, r) + NodeList_exists(d->childNodes, none), 0);
  EXPECT_EQ(fputds(nullptr, stdout), EOF);
  EXPECT_EQ(fputds("a", nullptr), EOF);
  EXPECT_EQ(DOM_Element_getAttribute(r, nullptr), nullptr);
  EXPECT_EQ(DOM_Document_getDoctype(r), nullptr);
  EXPECT_EQ(DOM_EventTarget_listenerCount(none), 0U);
  EXPECT_EQ(TakeError(), 0) << "ignored";
  EXPECT_EQ(Xml(d), "<r/>");
}

TEST(Node, ElementsByTagNameInDocumentOrder) {
  const Tree tree;
  EXPECT_EQ(DOM_Node_hasChildNodes(tree.root()), 0);
  DOM_Node* const a = tree.Add(tree.root(), "<a");
  EXPECT_EQ(DOM_Node_hasChildNodes(tree.root()), 1);
  tree.Add(tree.Add(a, "<*x"), "<a");
  tree.Add(a, "text");
  tree.Add(DOM_Node_appendChild(a, DOM_Document_createEntityReference(tree.document(), "a")),
           "<hidden");
  tree.Add(tree.root(), "<**");
  const struct {
    const char *name, *in_document, *in_a;
  } rows[] = {{"*", "r a *x a ** ", "*x a "}, {"a", "a a ", "a "}, {"**", "** ", ""},
              {"*x", "*x ", "*x "},           {"", "", ""},        {"hidden", "", ""}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const OwnedList in_document(DOM_Document_getElementsByTagName(tree.document(), row.name));
    const OwnedList in_a(DOM_Element_getElementsByTagName(a, row.name));
    const OwnedNode later(tree.Add(a, "<a"));
    EXPECT_EQ(Names(in_document.get()), row.in_document);
    EXPECT_EQ(Names(in_a.get()), row.in_a);
    DOM_Node_removeChild(a, later.get());
  }
  EXPECT_EQ(DOM_Document_getElementsByTagName(a, "*"), nullptr);
  EXPECT_EQ(Refusal(DOM_Element_getElementsByTagName(a->lastChild, "*")), 0);
}

TEST(Node, NeitherDepthNorPiecesMatter) {
  constexpr size_t kMany = 300000;
  const Tree tree;
  DOM_Node* parent = tree.root();
  for (size_t i = 0; i < kMany; ++i) {
    parent = tree.Add(parent, "<e");
  }
  for (size_t i = 0; i < kMany; ++i) {
    tree.Add(parent, "x");
  }
  DOM_Element_normalize(tree.root());
  EXPECT_EQ(Xml(parent), std::string(kMany, 'x'));
  const OwnedNode clone(DOM_Node_cloneNode(tree.document(), 1));
  const OwnedList found(DOM_Document_getElementsByTagName(clone.get(), "e"));
  EXPECT_EQ(found->length, kMany);
  std::string saved(8 * kMany + 100, '\0');
  const File stream(fmemopen(saved.data(), saved.size(), "w"));
  EXPECT_EQ(DOM_DocumentLS_fwrite(clone.get(), stream.get()), 0);
  std::fflush(stream.get());
  saved.resize(strlen(saved.c_str()));
  EXPECT_EQ(saved, "<?xml standalone=\"no\"?>\n<r>" + Repeated("<e>", kMany) +
                       std::string(kMany, 'x') + Repeated("</e>", kMany) + "</r>\n");
}

// A short value stands behind its node's record, where the next node's record begins.
TEST(Node, ValueOfAnyLengthLeavesTheNextNodeAlone) {
  constexpr size_t kLongest = 600;
  const Tree tree;
  DOM_Node* const text = tree.Add(tree.root(), "0123456");
  DOM_Node* const growing = tree.Add(tree.root(), "");
  for (size_t length = 0; length <= kLongest; ++length) {
    const std::string value(length, 'v');
    const std::string half(length - length / 2, 'v');
    const OwnedNode next(tree.Add(tree.root(), value));
    DOM_Node_setNodeValue(text, value.c_str());
    for (const char* name : {"a", "b"}) {
      DOM_Element_setAttribute(tree.root(), name, "");
      DOM_Element_setAttribute(tree.root(), name, value.c_str());
    }
    ASSERT_EQ(DOM_CharacterData_getLength(text), length);
    ASSERT_EQ(Attributes(tree.root()),
              std::string(" a=").append(value).append(" b=").append(value));
    ASSERT_EQ(next->nodeValue, value);
    ASSERT_EQ(growing->nodeValue, value);
    DOM_CharacterData_appendData(growing, "v");
    DOM_Node_setNodeValue(text, text->nodeValue + length / 2);
    ASSERT_EQ(text->nodeValue, half) << "a part of itself";
    DOM_Node_removeChild(tree.root(), next.get());
    DOM_Element_removeAttribute(tree.root(), "a");
    DOM_Element_removeAttribute(tree.root(), "b");
  }
  for (size_t length = kLongest + 1; length < 8 * kLongest; length *= 2) {
    DOM_CharacterData_appendData(growing, growing->nodeValue);
    EXPECT_EQ(growing->nodeValue, std::string(2 * length, 'v'));
  }
  DOM_Node_setNodeValue(growing, "x");
  DOM_CharacterData_appendData(growing, "y");
  const Locale locale(std::setlocale(LC_ALL, "C.UTF-8"));
  DOM_CharacterData_appendData(growing, "\u00e9");
  DOM_CharacterData_appendData(growing, "v");
  EXPECT_STREQ(growing->nodeValue, "xy\u00e9v");
}

TEST(Node, Dumps) {
  const Tree tree;
  DOM_Element_setAttribute(tree.root(), "a", "1");
  DOM_Element_setAttribute(tree.root(), "b", "2");
  tree.Add(tree.Add(tree.root(), "<c"), "x");
  tree.Add(tree.root(), "!y");
  DOM_Node_appendChild(tree.root(), DOM_Document_createCDATASection(tree.document(), "z"));
  testing::internal::CaptureStdout();
  DOM_Node_printNode(tree.root());
  DOM_Node_printNode(nullptr);
  DOM_Node_printNode2(tree.document());
  DOM_Node_printNode2(OwnedNode(Declaration(tree.document(), DOM_NOTATION_NODE, "n")).get());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), R"(
nodeName=r,nodeValue=(null),
	type=1,parentNode->nodeName=#document,firstChild->nodeName=c,lastChild->nodeName=#cdata-section,
	childNodes->length=3,previousSibling->nodeName=(null),nextSibling->nodeName=(null),attributes->length=2
node was null
DOM_DOCUMENT_NODE: #document=(null)
    DOM_ELEMENT_NODE: r=(null)
    a=1,b=2
        DOM_ELEMENT_NODE: c=(null)
            DOM_TEXT_NODE: #text=x
        DOM_COMMENT_NODE: #comment=y
        DOM_CDATA_SECTION_NODE: #cdata-section=z

DOM_NOTATION_NODE: n=(null)
)");
}

}  // namespace
}  // namespace qvx::test
