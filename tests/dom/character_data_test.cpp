#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <vector>

#include "dom/tree.h"
#include "tests/dom/model.h"

namespace qvx::test {

using N = DOM_Node*;

TEST(CharacterData, ChangesByCharacters) {
  const struct {
    const char* data;
    void (*operation)(DOM_Node*);
    std::string result;
    uint32_t length;
    std::string log;
    int32_t error = 0;
  } rows[] = {
      {"abc", [](N n) { DOM_CharacterData_appendData(n, n->nodeValue); }, "abcabc", 6, "abc>abcabc "},
      {"abc", [](N n) { DOM_CharacterData_appendData(n, nullptr); }, "abc", 3, ""},
      {"abc", [](N n) { DOM_CharacterData_appendData(n, "\xff"); }, "abc", 3, "", EILSEQ},
      {"abc", [](N n) { DOM_CharacterData_insertData(n, 0, "x"); }, "xabc", 4, "abc>xabc "},
      {"abc", [](N n) { DOM_CharacterData_insertData(n, 4, nullptr); }, "abc", 3, "", 0x20001},
      {"abc", [](N) { DOM_CharacterData_insertData(nullptr, 0, "x"); }, "abc", 3, "", 0x10000},
      {"abc", [](N n) { DOM_CharacterData_insertData(n->parentNode, 0, "x"); }, "abc", 3, "", 0x20009},
      {"abcdef", [](N n) { DOM_CharacterData_deleteData(n, 2, INT32_MAX); }, "ab", 2, "abcdef>ab "},
      {"abcdef", [](N n) { DOM_CharacterData_deleteData(n, 2, -1); }, "ab", 2, "abcdef>ab "},
      {"abcdef", [](N n) { DOM_CharacterData_deleteData(n, 1, 2); }, "adef", 4, "abcdef>adef "},
      {"abcdef", [](N n) { DOM_CharacterData_deleteData(n, 7, 1); }, "abcdef", 6, "", 0x20001},
      {"abcd", [](N n) { DOM_CharacterData_replaceData(n, 1, 2, "XYZ"); }, "aXYZd", 5, "abcd>ad ad>aXYZd "},
      {"abcd", [](N n) { DOM_CharacterData_replaceData(n, 1, 2, nullptr); }, "ad", 2, "abcd>ad "},
      {"abcd", [](N n) { DOM_CharacterData_replaceData(n, 5, 2, "X"); }, "abcd", 4, "", 0x20001},
      // Two bytes a character; three bytes and two columns; no column of its own.
      {"äöü", [](N n) { DOM_CharacterData_insertData(n, 1, "ßß"); }, "äßßöü", 5, "äöü>äßßöü "},
      {"漢字x", [](N n) { DOM_CharacterData_deleteData(n, 0, 1); }, "字x", 3, "漢字x>字x "},
      {"漢字x", [](N n) { DOM_CharacterData_deleteData(n, 5, -1); }, "漢字x", 5, "漢字x>漢字x "},
      {"e\u0301x", [](N n) { DOM_CharacterData_deleteData(n, 1, 1); }, "e", 1, "e\u0301x>e "},
  };
  const Locale locale("C.UTF-8");
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.data) + " to " + row.result + " " + row.log);
    const Tree tree;
    DOM_Node* const node = tree.Add(tree.root(), std::string("!") + row.data);
    std::string log;
    Listener listener{"", nullptr, [&](DOM_Event* event) { log += Values(event); }};
    listener.Hear(tree.root(), "DOMCharacterDataModified");
    tree.common_parent() = nullptr;
    row.operation(node);
    EXPECT_EQ(TakeError(), row.error);
    EXPECT_EQ(Text(node->nodeValue), row.result);
    EXPECT_EQ(DOM_CharacterData_getLength(node), row.length);
    EXPECT_EQ(log, row.log);
    EXPECT_EQ(tree.common_parent(), row.log.empty() ? nullptr : tree.root());
  }
}

TEST(CharacterData, SubstringIsACopyOfCharacters) {
  const Locale locale("C.UTF-8");
  const Tree tree;
  DOM_Node* const node = tree.Add(tree.root(), "aäböc");
  EXPECT_EQ(Taken(DOM_CharacterData_substringData(node, 1, 3)), "äbö");
  EXPECT_EQ(Taken(DOM_CharacterData_substringData(node, 3, INT32_MAX)), "öc");
  for (const auto& [offset, count] : {std::pair{-1, 1}, {6, 0}, {0, -1}}) {
    EXPECT_EQ(Taken(DOM_CharacterData_substringData(node, offset, count)), "(null)");
    EXPECT_EQ(TakeError(), 0x20001);
  }
}

TEST(CharacterData, SplitsOffTheTail) {
  const struct {
    const char* data;
    int32_t offset;
    std::string children;
    int32_t error = 0;
  } rows[] = {{"abc", 0, "()(abc)!c!"},        {"abc", 1, "(a)(bc)!c!"},         {"abc", 3, "(abc)()!c!"},
              {"abc", 4, "(abc)!c!", 0x20001}, {"abc", -1, "(abc)!c!", 0x20001}, {"!abc", 1, "!abc!!c!", 0x20009}};
  for (const auto& row : rows) {
    const Tree tree;
    DOM_Node* const node = tree.Add(tree.root(), row.data);
    tree.Add(tree.root(), "!c");
    const DOM_Node* const tail = DOM_Text_splitText(node, row.offset);
    EXPECT_EQ(tail, row.error == 0 ? node->nextSibling : nullptr);
    EXPECT_EQ(Children(tree.root()), row.children);
    EXPECT_EQ(TakeError(), row.error);
  }
}

TEST(CharacterData, SplitThatLosesItsPlaceIsUndone) {
  const Tree tree;
  const OwnedNode node(tree.Add(tree.root(), "abc"));
  Listener listener{"", nullptr, [&](DOM_Event*) { DOM_Node_removeChild(tree.root(), node.get()); }};
  listener.Hear(tree.root(), "DOMCharacterDataModified");
  EXPECT_EQ(DOM_Text_splitText(node.get(), 1), nullptr);
  EXPECT_EQ(TakeError(), 0x10000);
  EXPECT_EQ(Text(node->nodeValue), "abc");
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
    std::string children;
    std::string log;
  } rows[] = {
      {{"a", "b", "!c", "d"}, "(ab)!c!(d)", "b>ab "},
      {{"a", "b", "c", "d"}, "(abcd)", "b>ab c>abc d>abcd "},
      {{"a", "[b", "c"}, "(a)[b](c)", ""},
      {{"", "<e", "a", "<f", "b", "c", ">", "d", "", ">", "g", "h"}, "()e{(a)f{(bc)}(d)}(gh)", "c>bc >d h>gh "},
  };
  for (const auto& row : rows) {
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
      EXPECT_EQ(DOM_CharacterData_getLength(last), std::strlen(last->nodeValue));
      EXPECT_EQ(log, heard ? row.log : "");
    }
  }
}

TEST(Normalize, IsLinearInPiecesAndDepth) {
  constexpr int kMany = 200000;
  const Tree tree;
  DOM_Node* parent = tree.root();
  for (int i = 0; i < kMany; ++i) {
    DOM_Node* const child = DOM_Document_createElement(tree.document(), "e");
    dom::LinkChild(parent, child, nullptr);
    parent = child;
  }
  for (int i = 0; i < kMany; ++i) {
    dom::LinkChild(parent, DOM_Document_createTextNode(tree.document(), "x"), nullptr);
  }
  const auto start = std::chrono::steady_clock::now();
  DOM_Element_normalize(tree.root());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  EXPECT_EQ(Children(parent), "(" + std::string(kMany, 'x') + ")");
}

TEST(Normalize, StopsAtAPendingFailure) {
  const Tree tree;
  Build(tree, {"<e", "<f", "a", "b", ">", ">", "c", "d"});
  *_DOM_Exception() = EIO;
  _msgno_buf_idx = 0;
  DOM_Element_normalize(tree.root());
  const std::string line = "  src/dom.cpp:N:DOM_Element_normalize: \n";
  EXPECT_EQ(TraceText(), line + line + line);
  EXPECT_EQ(TakeError(), EIO);
  EXPECT_EQ(Children(tree.root()), "e{f{(a)(b)}}(c)(d)");
}

TEST(Normalize, GoesByTheTreeThatHandlersLeave) {
  const std::pair<DOM_Node* (*)(DOM_Node*), std::string> rows[] = {
      {[](N target) { return target->previousSibling; }, "(ab)!c!(de)"},
      {[](N target) { return target; }, "!c!(d)(e)"},
      {[](N target) { return target->nextSibling; }, "(abde)"}};
  for (const auto& [removed, children] : rows) {
    const Tree tree;
    Build(tree, {"a", "b", "!c", "d", "e"});
    OwnedNode taken;
    Listener listener{
        "", nullptr, [&, choose = removed](DOM_Event* event) {
          taken.reset(taken != nullptr ? taken.release() : DOM_Node_removeChild(tree.root(), choose(event->target)));
        }};
    listener.Hear(tree.root(), "DOMCharacterDataModified");
    DOM_Element_normalize(tree.root());
    EXPECT_EQ(Children(tree.root()), children);
  }
}

}  // namespace qvx::test
