#include "tests/dom/model.h"

namespace qvx::test {
namespace {

using N = DOM_Node*;
constexpr auto Append = DOM_CharacterData_appendData;
constexpr auto Insert = DOM_CharacterData_insertData;
constexpr auto Delete = DOM_CharacterData_deleteData;
constexpr auto Replace = DOM_CharacterData_replaceData;

TEST(CharacterData, ChangesByCharactersHeardOrNot) {
  const struct {
    void (*change)(N);
    std::string data = "abc", result = "abc";
    int32_t error = 0;
    std::string events = {};  // if not the one change from data to result
    size_t length = result.size();
  } rows[] = {
      {.change = [](N n) { Append(n, n->nodeValue); }, .result = "abcabc"},
      {.change = [](N n) { Append(n, "d"); }, .result = "abcd"},
      {.change = [](N n) { Append(n, nullptr); }},
      {.change = [](N n) { Append(n, "\xff"); }, .error = EILSEQ},
      {.change = [](N n) { Insert(n, 0, "x"); }, .result = "xabc"},
      {.change = [](N n) { Insert(n, 4, nullptr); }, .error = DOM_INDEX_SIZE_ERR},
      {.change = [](N) { Insert(nullptr, 0, "x"); }, .error = kNullParameter},
      {.change = [](N n) { Insert(n->parentNode, 0, "x"); }, .error = DOM_NOT_SUPPORTED_ERR},
      {.change = [](N n) { Delete(n, 2, -1); }, .result = "ab"},
      {.change = [](N n) { Delete(n, 1, 1); }, .result = "ac"},
      {.change = [](N n) { Delete(n, 1, 0); }, .events = "abc>abc "},
      {.change = [](N n) { Delete(n, 4, 1); }, .error = DOM_INDEX_SIZE_ERR},
      {.change = [](N n) { Replace(n, 1, 1, "Z"); }, .result = "aZc", .events = "abc>ac ac>aZc "},
      {.change = [](N n) { Replace(n, 1, 1, nullptr); }, .result = "ac"},
      {.change = [](N n) { Append(n, "d"), Replace(n, 0, 4, n->nodeValue); },
       .result = "abcd",
       .events = "abc>abcd abcd> >abcd "},
      {.change =
           [](N n) {
             std::setlocale(LC_ALL, "C"), Delete(n, 1, -1);
             std::setlocale(LC_ALL, "C.UTF-8");
           },
       .data = "aä",
       .result = "aä",
       .error = EILSEQ,
       .length = 2},
      // Two bytes a character; three bytes and two columns; no column of its own.
      {.change = [](N n) { Insert(n, 1, "ßß"); }, .data = "äöü", .result = "äßßöü", .length = 5},
      {.change = [](N n) { Delete(n, 0, 1); }, .data = "漢字x", .result = "字x", .length = 3},
      {.change = [](N n) { Delete(n, 1, 1); }, .data = "e\u0301x", .result = "e", .length = 1},
      {.change = [](N n) { Delete(n, 1, 0); },
       .data = "e\u0301",
       .result = "e\u0301",
       .events = "e\u0301>e\u0301 ",
       .length = 1},
  };
  const Locale locale(std::setlocale(LC_ALL, "C.UTF-8"));
  for (const auto& row : rows) {
    for (const bool is_heard : {false, true}) {
      SCOPED_TRACE(testing::Message() << &row - rows << " " << row.data << " " << is_heard);
      const Tree tree;
      DOM_Node* const node = tree.Add(tree.root(), "!" + row.data);
      std::string log;
      Listener listener{[&](DOM_Event* event) { log += Values(event); }};
      listener.Hear(is_heard ? tree.root() : Tree().root(), "DOMCharacterDataModified");
      tree.common_parent() = nullptr;
      row.change(node);
      EXPECT_EQ(TakeError(), row.error);
      EXPECT_EQ(Text(node->nodeValue), row.result);
      EXPECT_EQ(DOM_CharacterData_getLength(node), row.length);
      const bool changes = row.data != row.result || !row.events.empty();
      const std::string change = changes ? row.data + ">" + row.result + " " : "";
      const std::string& events = row.events.empty() ? change : row.events;
      EXPECT_EQ(log, is_heard ? events : "");
      EXPECT_EQ(tree.common_parent(), changes ? tree.root() : nullptr);
    }
  }
}

TEST(CharacterData, SubstringIsACopyOfCharacters) {
  const Locale locale(std::setlocale(LC_ALL, "C.UTF-8"));
  const Tree tree;
  DOM_Node* const node = tree.Add(tree.root(), "aäböc");
  EXPECT_EQ(Taken(DOM_CharacterData_substringData(node, 1, 3)), "äbö");
  EXPECT_EQ(Taken(DOM_CharacterData_substringData(node, 3, INT32_MAX)), "öc");
  DOM_Node* const accented = tree.Add(tree.root(), "xe\u0301");
  for (const int32_t count : {1, INT32_MAX}) {
    EXPECT_EQ(Taken(DOM_CharacterData_substringData(accented, 1, count)), "e")
        << "the count is cut to what is left of the length";
  }
  for (const auto& [offset, count] : {std::pair{-1, 1}, {6, 0}, {0, -1}}) {
    EXPECT_EQ(Taken(DOM_CharacterData_substringData(node, offset, count)), "(null)");
    EXPECT_EQ(TakeError(), DOM_INDEX_SIZE_ERR);
  }
}

/// Splits one that the code makes, and gives the siblings then.
std::string Split(const char* code, int32_t offset, int32_t error = 0) {
  const Tree tree;
  DOM_Node* const node = tree.Add(tree.root(), code);
  tree.Add(tree.root(), "!");
  const DOM_Node* const tail = DOM_Text_splitText(node, offset);
  EXPECT_EQ(tail, error == 0 ? node->nextSibling : nullptr);
  EXPECT_EQ(TakeError(), error);
  return Xml(tree.root());
}

TEST(CharacterData, SplitsOffTheTail) {
  EXPECT_EQ(Split("abc", 0), "()|abc<!---->");
  EXPECT_EQ(Split("abc", 1), "a|bc<!---->");
  EXPECT_EQ(Split("abc", 3), "abc|()<!---->");
  EXPECT_EQ(Split("abc", 4, DOM_INDEX_SIZE_ERR), "abc<!---->");
  EXPECT_EQ(Split("abc", -1, DOM_INDEX_SIZE_ERR), "abc<!---->");
  EXPECT_EQ(Split("!abc", 1, DOM_NOT_SUPPORTED_ERR), "<!--abc--><!---->");
}

/// Adds to `parent` what the codes say; ">" closes the element that was opened last.
void Build(const Tree& tree, const std::vector<std::string>& codes) {
  DOM_Node* parent = tree.root();
  for (const std::string& code : codes) {
    DOM_Node* const node = code == ">" ? parent->parentNode : tree.Add(parent, code);
    parent = code == ">" || code.starts_with("<") ? node : parent;
  }
}

TEST(Normalize, MergesNeighboursHeardOrNot) {
  const struct {
    std::vector<std::string> codes;
    std::string xml, events = {};
  } rows[] = {
      {{"a", "b", "!c", "d"}, "ab<!--c-->d", "b>ab "},
      {{"a", "[b", "c"}, "a<![CDATA[b]]>c"},
      {{"", "<e", "a", "<f", "b", "c", ">", "d", "", ">", "g", "h"},
       "()<e>a<f>bc</f>d</e>gh",
       "c>bc >d h>gh "},
  };
  for (const bool is_heard : {false, true}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(row.xml);
      const Tree tree;
      std::string log;
      Listener listener{[&](DOM_Event* event) { log += Values(event); }};
      listener.Hear(is_heard ? tree.root() : Tree().root(), "DOMCharacterDataModified");
      Build(tree, row.codes);
      DOM_Node* const last = tree.root()->lastChild;
      tree.common_parent() = last;
      DOM_Element_normalize(tree.document());
      EXPECT_EQ(tree.common_parent(), row.events.empty() ? last : tree.root());
      EXPECT_EQ(Xml(tree.root()), row.xml);
      EXPECT_EQ(tree.root()->lastChild, last) << "the last text of a run is the one that is left";
      EXPECT_EQ(DOM_CharacterData_getLength(last), Text(last->nodeValue).size());
      EXPECT_EQ(log, is_heard ? row.events : "");
    }
    const Tree tree;
    Listener listener;
    listener.Hear(is_heard ? tree.root() : Tree().root(), "DOMCharacterDataModified");
    for (int i = 0; i < 2; ++i) {
      DOM_Node_appendChild(tree.root(), Document_createNode(tree.document(), DOM_TEXT_NODE));
    }
    tree.common_parent() = tree.root()->lastChild;
    DOM_Element_normalize(tree.document());
    EXPECT_EQ(tree.root()->childNodes->length, 1U);
    EXPECT_EQ(tree.root()->firstChild->nodeValue, nullptr) << "texts without value stay without";
    EXPECT_EQ(tree.common_parent(), nullptr) << "a second change would name the root";
  }
}

TEST(Normalize, IsToldToWhoeverHearsAPartOfIt) {
  for (const char* type :
       {"DOMCharacterDataModified", "DOMNodeRemoved", "DOMNodeRemovedFromDocument"}) {
    const Tree tree;
    Build(tree, {"a", "b"});
    std::string log;
    Listener listener{{}, &log};
    listener.Hear(tree.root(), type, 1);
    DOM_Element_normalize(tree.root());
    EXPECT_EQ(log, std::string(":") + type + "@#text/1 ");
  }
}

TEST(Normalize, GoesByTheTreeThatHandlersLeave) {
  const struct {
    DOM_Node* (*removed)(DOM_Node* target);
    std::string xml;
  } rows[] = {{[](N target) { return target->previousSibling; }, "ab<!--c-->de"},
              {[](N target) { return target; }, "<!--c-->d|e"},
              {[](N target) { return target->nextSibling; }, "abde"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.xml);
    const Tree tree;
    Build(tree, {"a", "b", "!c", "d", "e"});
    OwnedNode taken;
    Listener listener;
    listener.act = [&](DOM_Event* event) {
      listener.Leave(tree.root(), "DOMCharacterDataModified");
      taken.reset(DOM_Node_removeChild(tree.root(), row.removed(event->target)));
    };
    listener.Hear(tree.root(), "DOMCharacterDataModified");
    DOM_Element_normalize(tree.root());
    EXPECT_EQ(Xml(tree.root()), row.xml);
  }
}

}  // namespace
}  // namespace qvx::test
