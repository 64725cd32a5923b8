#include "tests/dom/model.h"

namespace qvx::test {
namespace {

using N = DOM_Node*;

TEST(CharacterData, ChangesByCharacters) {
  const struct {
    void (*operation)(DOM_Node*);
    int32_t error = 0;
    std::string data = "abc";
    std::string result = "abc";
    uint32_t length = 3;
    std::string events = {};
  } rows[] = {
      {[](N n) { DOM_CharacterData_appendData(n, n->nodeValue); }, 0, "abc", "abcabc", 6,
       "abc>abcabc "},
      {[](N n) { DOM_CharacterData_appendData(n, nullptr); }},
      {[](N n) { DOM_CharacterData_appendData(n, "\xff"); }, EILSEQ},
      {[](N n) { DOM_CharacterData_insertData(n, 0, "x"); }, 0, "abc", "xabc", 4, "abc>xabc "},
      {[](N n) { DOM_CharacterData_insertData(n, 4, nullptr); }, DOM_INDEX_SIZE_ERR},
      {[](N) { DOM_CharacterData_insertData(nullptr, 0, "x"); }, kNullParameter},
      {[](N n) { DOM_CharacterData_insertData(n->parentNode, 0, "x"); }, DOM_NOT_SUPPORTED_ERR},
      {[](N n) { DOM_CharacterData_deleteData(n, 2, -1); }, 0, "abcdef", "ab", 2, "abcdef>ab "},
      {[](N n) { DOM_CharacterData_deleteData(n, 1, 2); }, 0, "abcd", "ad", 2, "abcd>ad "},
      {[](N n) { DOM_CharacterData_deleteData(n, 1, 0); }, 0, "abc", "abc", 3, "abc>abc "},
      {[](N n) { DOM_CharacterData_deleteData(n, 4, 1); }, DOM_INDEX_SIZE_ERR},
      {[](N n) { DOM_CharacterData_replaceData(n, 1, 2, "XYZ"); }, 0, "abcd", "aXYZd", 5,
       "abcd>ad ad>aXYZd "},
      {[](N n) { DOM_CharacterData_replaceData(n, 1, 2, nullptr); }, 0, "abcd", "ad", 2,
       "abcd>ad "},
      {[](N n) {
         DOM_CharacterData_appendData(n, "d");
         DOM_CharacterData_replaceData(n, 0, 4, n->nodeValue);
       },
       0, "abc", "abcd", 4, "abc>abcd abcd> >abcd "},
      // Two bytes a character; three bytes and two columns; no column of its own.
      {[](N n) { DOM_CharacterData_insertData(n, 1, "ßß"); }, 0, "äöü", "äßßöü", 5, "äöü>äßßöü "},
      {[](N n) { DOM_CharacterData_deleteData(n, 0, 1); }, 0, "漢字x", "字x", 3, "漢字x>字x "},
      {[](N n) { DOM_CharacterData_deleteData(n, 1, 1); }, 0, "e\u0301x", "e", 1, "e\u0301x>e "},
  };
  const Locale locale(std::setlocale(LC_ALL, "C.UTF-8"));
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << &row - rows << " " << row.data << " to " << row.result);
    const Tree tree;
    DOM_Node* const node = tree.Add(tree.root(), "!" + row.data);
    std::string log;
    Listener listener{"", nullptr, [&](DOM_Event* event) { log += Values(event); }};
    listener.Hear(tree.root(), "DOMCharacterDataModified");
    tree.common_parent() = nullptr;
    row.operation(node);
    EXPECT_EQ(TakeError(), row.error);
    EXPECT_EQ(Text(node->nodeValue), row.result);
    EXPECT_EQ(DOM_CharacterData_getLength(node), row.length);
    EXPECT_EQ(log, row.events);
    EXPECT_EQ(tree.common_parent(), log.empty() ? nullptr : tree.root());
  }
}

TEST(CharacterData, GrowsUnheardAsItDoesHeard) {
  void (*const operations[])(DOM_Node*) = {
      [](DOM_Node* n) { DOM_CharacterData_appendData(n, "abc"); },
      [](DOM_Node* n) { DOM_CharacterData_appendData(n, "a text of more than thirty-two bytes"); },
      [](DOM_Node* n) { DOM_CharacterData_appendData(n, n->nodeValue); },
      [](DOM_Node* n) { DOM_CharacterData_appendData(n, n->nodeValue + 1); },
      [](DOM_Node* n) { DOM_CharacterData_appendData(n, "ä漢"); },
      [](DOM_Node* n) { DOM_CharacterData_appendData(n, ""); },
      [](DOM_Node* n) { DOM_CharacterData_deleteData(n, 3, -1); },
      [](DOM_Node* n) { DOM_Node_setNodeValue(n, "new"); }};
  const Locale locale(std::setlocale(LC_ALL, "C.UTF-8"));
  const Tree tree;
  DOM_Node* const unheard = tree.Add(tree.root(), "x");
  DOM_Node* const heard = tree.Add(tree.root(), "x");
  Listener listener;
  listener.Hear(heard, "DOMCharacterDataModified");
  for (size_t step = 0; step < 200; ++step) {
    const size_t index = (3 * step + step / 8) % std::size(operations);
    SCOPED_TRACE(testing::Message() << step << ": " << index);
    tree.common_parent() = nullptr;
    operations[index](unheard);
    const DOM_Node* const noted = std::exchange(tree.common_parent(), nullptr);
    operations[index](heard);
    ASSERT_EQ(noted, tree.common_parent());
    ASSERT_EQ(Text(unheard->nodeValue), heard->nodeValue);
    ASSERT_EQ(DOM_CharacterData_getLength(unheard), DOM_CharacterData_getLength(heard));
  }
}

TEST(CharacterData, ChangeIsNotedWhereItHappened) {
  const Tree tree;
  DOM_Node* const node = tree.Add(tree.Add(tree.root(), "<e"), "x");
  OwnedNode taken;
  Listener listener{"", nullptr, [&](DOM_Event* event) {
                      taken.reset(DOM_Node_removeChild(node->parentNode, event->target));
                      DOM_MutationEvent_processSubtreeModified(tree.document());
                    }};
  listener.Hear(tree.root(), "DOMCharacterDataModified");
  DOM_CharacterData_appendData(node, "y");
  EXPECT_EQ(tree.common_parent(), tree.root()->firstChild);
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

TEST(CharacterData, SplitsOffTheTail) {
  const struct {
    const char* data;
    int32_t offset;
    std::string children;
    int32_t error;
  } rows[] = {{"abc", 0, "()(abc)!c!", 0},
              {"abc", 1, "(a)(bc)!c!", 0},
              {"abc", 3, "(abc)()!c!", 0},
              {"abc", 4, "(abc)!c!", DOM_INDEX_SIZE_ERR},
              {"abc", -1, "(abc)!c!", DOM_INDEX_SIZE_ERR},
              {"!abc", 1, "!abc!!c!", DOM_NOT_SUPPORTED_ERR}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.children);
    const Tree tree;
    DOM_Node* const node = tree.Add(tree.root(), row.data);
    tree.Add(tree.root(), "!c");
    const DOM_Node* const tail = DOM_Text_splitText(node, row.offset);
    EXPECT_EQ(tail, row.error == 0 ? node->nextSibling : nullptr);
    EXPECT_EQ(Children(tree.root()), row.children);
    EXPECT_EQ(TakeError(), row.error);
  }
}

/// Adds to `parent` what the codes say; ">" closes the element that was opened last.
static void Build(const Tree& tree, const std::vector<std::string>& codes) {
  DOM_Node* parent = tree.root();
  for (const std::string& code : codes) {
    DOM_Node* const node = code == ">" ? parent->parentNode : tree.Add(parent, code);
    parent = code == ">" || code.starts_with("<") ? node : parent;
  }
}

TEST(Normalize, MergesNeighboursHeardOrNot) {
  const struct {
    std::vector<std::string> codes;
    std::string children, events;
  } rows[] = {
      {{"a", "b", "!c", "d"}, "(ab)!c!(d)", "b>ab "},
      {{"a", "[b", "c"}, "(a)[b](c)", ""},
      {{"", "<e", "a", "<f", "b", "c", ">", "d", "", ">", "g", "h"},
       "()e{(a)f{(bc)}(d)}(gh)",
       "c>bc >d h>gh "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.children);
    for (const bool heard : {false, true}) {
      const Tree tree;
      std::string log;
      Listener listener{"", nullptr, [&](DOM_Event* event) { log += Values(event); }};
      listener.Hear(heard ? tree.root() : Tree().root(), "DOMCharacterDataModified");
      Build(tree, row.codes);
      DOM_Node* const last = tree.root()->lastChild;
      DOM_Element_normalize(tree.document());
      EXPECT_EQ(Children(tree.root()), row.children);
      EXPECT_EQ(tree.root()->lastChild, last) << "the last text of a run is the one that is left";
      EXPECT_EQ(DOM_CharacterData_getLength(last), Text(last->nodeValue).size());
      EXPECT_EQ(log, heard ? row.events : "");
    }
  }
}

TEST(Normalize, TextsWithoutValueStayWithoutHeardOrNot) {
  for (const bool heard : {false, true}) {
    const Tree tree;
    Listener listener;
    listener.Hear(heard ? tree.root() : Tree().root(), "DOMCharacterDataModified");
    for (int i = 0; i < 2; ++i) {
      DOM_Node_appendChild(tree.root(), Document_createNode(tree.document(), DOM_TEXT_NODE));
    }
    tree.common_parent() = tree.root()->lastChild;
    DOM_Element_normalize(tree.document());
    EXPECT_EQ(tree.root()->childNodes->length, 1U);
    EXPECT_EQ(tree.root()->firstChild->nodeValue, nullptr);
    EXPECT_EQ(tree.common_parent(), nullptr) << "a second change would name the root";
  }
}

TEST(Normalize, GoesByTheTreeThatHandlersLeave) {
  const struct {
    DOM_Node* (*removed)(DOM_Node* target);
    std::string children;
  } rows[] = {{[](N target) { return target->previousSibling; }, "(ab)!c!(de)"},
              {[](N target) { return target; }, "!c!(d)(e)"},
              {[](N target) { return target->nextSibling; }, "(abde)"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.children);
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
    EXPECT_EQ(Children(tree.root()), row.children);
  }
}

}  // namespace
}  // namespace qvx::test
