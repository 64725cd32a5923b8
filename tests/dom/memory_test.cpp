// What is left when memory runs out. Each allocation of the document model and of the parser fails
// once.
#include <expat.h>

#include <cstdlib>

#include "tests/dom/model.h"
#include "tests/harness/allocator.h"

// The linker gives this the request for a parser.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" XML_Parser __wrap_XML_ParserCreate(const XML_Char* encoding) {
  const XML_Memory_Handling_Suite memory = {std::malloc, std::realloc, std::free};
  return XML_ParserCreate_MM(encoding, &memory, nullptr);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace qvx::test {
namespace {

/// The document <r><e k="v">x...</e>abc|def<x.../><?x... x...?></r> and an empty one. A listener
/// hears both, or none. The long text is too long for a page that nodes share, so a copy of it
/// always needs memory.
struct World : Tree {
  explicit World(bool is_heard) {
    DOM_Element_setAttribute(e, "k", "v");
    Add(e, long_text);
    DOM_Element_setAttribute(Add(root(), "<" + long_text), long_text.c_str(), long_text.c_str());
    DOM_Node_appendChild(root(), DOM_Document_createProcessingInstruction(
                                     document(), long_text.c_str(), long_text.c_str()));
    for (DOM_Document* const heard : {document(), empty.get()}) {
      if (is_heard) {
        listener.Hear(heard, "DOMNodeInserted");
        listener.Hear(heard, "DOMAttrModified");
      }
    }
    TakeError();
  }
  const std::string long_text = std::string(40000, 'x');
  DOM_Node* const e = Add(root(), "<e");
  DOM_Node* const abc = Add(root(), "abc");
  DOM_Node* const def = Add(root(), "def");
  OwnedNode empty{DOM_Implementation_createDocument(nullptr, nullptr, nullptr)};
  Listener listener;
};
using W = World;

/// Loads so many elements within each other that the stack of the open ones grows and shrinks.
bool Loads(DOM_Document* document) {
  static const TempDirectory folder;
  static const std::string path = [] {
    WriteText(folder.path() / "document",
              "<!DOCTYPE a PUBLIC 'p' 's' [<!ENTITY n 'v'>]><a b='1'>x&amp;y<!--c--><?p i?>"
              "<![CDATA[z]]>" +
                  Repeated("<b>", 200) + Repeated("</b>", 200) + "</a>");
    return folder.path() / "document";
  }();
  const bool is_loaded = DOM_DocumentLS_load(document, path.c_str()) == 1;
  EXPECT_EQ(dom::LoadRanOutOfMemory(), !is_loaded);
  if (*_DOM_Exception() == DOM_PARSER_ERR) {  // the stack could not be made
    *_DOM_Exception() = ENOMEM;
  }
  return is_loaded;
}

bool Succeeded() {
  return *_DOM_Exception() == 0;
}

}  // namespace

TEST(Memory, EveryFailureIsReported) {
  const struct {
    const char* name;
    bool (*operation)(W&);
  } rows[] = {
      {"load", [](W& w) { return Loads(w.empty.get()); }},
      {"look-up",
       [](W& w) {
         return OwnedList(DOM_Document_getElementsByTagName(w.document(), "*")) != nullptr;
       }},
      {"clone", [](W& w) { return OwnedNode(DOM_Node_cloneNode(w.document(), 1)) != nullptr; }},
      {"save", [](W& w) { return DOM_DocumentLS_save(w.document(), "/dev/null", nullptr) == 0; }},
      {"new attribute", [](W& w) { return DOM_Element_setAttribute(w.e, "n", "w"), Succeeded(); }},
      {"new value", [](W& w) { return DOM_Element_setAttribute(w.e, "k", "w"), Succeeded(); }},
      {"merger", [](W& w) { return DOM_Element_normalize(w.root()), Succeeded(); }},
      {"split", [](W& w) { return DOM_Text_splitText(w.abc, 1) != nullptr && Succeeded(); }},
      {"replacement",
       [](W& w) { return DOM_CharacterData_replaceData(w.abc, 0, 1, "x"), Succeeded(); }},
      {"long value",
       [](W& w) { return DOM_Node_setNodeValue(w.abc, w.long_text.c_str()), Succeeded(); }},
      {"growth",
       [](W& w) {
         DOM_CharacterData_appendData(w.abc, w.long_text.c_str());
         return Succeeded();
       }},
      {"dispatch",
       [](W& w) {
         DOM_Event event{};
         DOM_Event_initEvent(&event, "DOMNodeInserted", 1, 0);
         EXPECT_EQ(DOM_EventTarget_dispatchEvent(w.abc, &event), 1);
         return Succeeded();
       }},
      {"listener", [](W& w) { return w.listener.Hear(w.e, "x"), Succeeded(); }},
      {"document type",
       [](W&) {
         return OwnedNode(DOM_Implementation_createDocumentType("t", "p", "s")) != nullptr;
       }},
  };
  Loads(W(false).empty.get());  // makes its file
  for (const auto& row : rows) {
    for (const bool is_heard : {false, true}) {
      bool has_failed = true;
      for (int calls = 0; has_failed; ++calls) {
        SCOPED_TRACE(testing::Message() << row.name << " " << is_heard << " " << calls);
        World world(is_heard);
        FailAllocation(calls);
        const bool is_done = row.operation(world);
        has_failed = HasFailedAllocation();
        ASSERT_EQ(is_done, !has_failed);
        ASSERT_EQ(TakeError(), has_failed ? ENOMEM : 0);
        ASSERT_EQ(Violation(world.document()), "");
        ASSERT_EQ(Violation(world.empty.get()), "");
      }
    }
  }
}

/// So many attributes that they have an index. What cannot be indexed is found all the same.
TEST(Memory, EveryAttributeIsFound) {
  bool has_failed = true;
  for (int calls = 0; has_failed; ++calls) {
    SCOPED_TRACE(calls);
    const Tree tree;
    FailAllocation(calls);
    for (int i = 0; i < 40; ++i) {
      DOM_Element_setAttribute(tree.root(), std::to_string(i).c_str(), "");
    }
    has_failed = HasFailedAllocation();
    TakeError();
    NamedNodeMap* const map = tree.root()->attributes;
    for (int32_t i = 0; DOM_Node* const attribute = DOM_NamedNodeMap_item(map, i); ++i) {
      EXPECT_EQ(DOM_Element_getAttributeNode(tree.root(), attribute->nodeName), attribute);
    }
  }
}

}  // namespace qvx::test
