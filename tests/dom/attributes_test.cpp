#include "tests/dom/model.h"

namespace qvx::test {
namespace {

/// An element "e" below the root with a=1 b=2. Its attribute events are first reacted to, once, and
/// then logged, so that the log shows whether the texts of an event outlive the reaction.
struct Fixture {
  using Reaction = void (*)(Fixture&, DOM_Attr*);

  explicit Fixture(Reaction first = nullptr) : reaction(first) {
    Set("a", "1");
    Set("b", "2");
    tree.common_parent() = nullptr;
    reacting.Hear(tree.root(), "DOMAttrModified");
    logging.Hear(tree.root(), "DOMAttrModified");
  }
  void Set(const char* name, const char* value) { DOM_Element_setAttribute(e, name, value); }
  void Remove(const char* name) { DOM_Element_removeAttribute(e, name); }
  void SetNode(DOM_Attr* attribute) { result.reset(DOM_Element_setAttributeNode(e, attribute)); }
  void RemoveNode(DOM_Attr* attribute) {
    result.reset(DOM_Element_removeAttributeNode(e, attribute));
  }
  DOM_Attr* Get(const char* name) const { return DOM_Element_getAttributeNode(e, name); }
  DOM_Attr* Make(const char* name) const {
    return DOM_Document_createAttribute(tree.document(), name);
  }

  const Tree tree;
  DOM_Element* e = tree.Add(tree.root(), "<e");
  OwnedNode result;
  std::string log;
  Reaction reaction;
  Listener reacting{[this](DOM_Event* event) {
    EXPECT_EQ(Text(event->relatedNode->nodeName), event->attrName);
    if (const Reaction react = std::exchange(reaction, nullptr)) {
      react(*this, event->relatedNode);
    }
  }};
  Listener logging{[this](DOM_Event* event) {
    log += std::to_string(event->attrChange) + event->attrName + ":" + Values(event);
  }};
};
using F = Fixture;

}  // namespace

TEST(Attributes, ChangesTellTheirListeners) {
  const struct {
    const char* name;
    void (*operation)(Fixture&);
    int32_t error = 0;
    std::string attributes = " a=1 b=2", log = {};
    Fixture::Reaction reaction = nullptr;
    std::string result = "(null)";
  } rows[] = {
      {"a new value", [](F& f) { f.Set("a", "9"); }, 0, " a=9 b=2", "1a:1>9 "},
      {"a new attribute", [](F& f) { f.Set("c", "3"); }, 0, " a=1 b=2 c=3", "2c:(null)>3 "},
      {"no value", [](F& f) { f.Set("a", nullptr); }},
      {"undecodable new value", [](F& f) { f.Set("a", "\xff"); }, EILSEQ},
      {"undecodable value", [](F& f) { f.Set("c", "\xff"); }, EILSEQ},
      {"undecodable name", [](F& f) { f.Set("\xff", "1"); }, EILSEQ},
      {"removal", [](F& f) { f.Remove("a"); }, 0, " b=2", "3a:1>(null) "},
      {"removal of none", [](F& f) { f.Remove("x"); }, DOM_NOT_FOUND_ERR},
      {"removal from a document", [](F& f) { DOM_Element_removeAttribute(f.tree.document(), "a"); },
       DOM_NOT_FOUND_ERR},
      {"a new node", [](F& f) { f.SetNode(f.Make("c")); }, 0, " a=1 b=2 c=", "2c:(null)> "},
      {"a node without value",
       [](F& f) { f.SetNode(Declaration(f.tree.document(), DOM_ATTRIBUTE_NODE, "n")); }, 0,
       " a=1 b=2 n=(null)", "2n:(null)>(null) "},
      {"a node in the place of another", [](F& f) { f.SetNode(f.Make("a")); }, 0, " a= b=2",
       "3a:1>(null) 2a:(null)> ", nullptr, "a"},
      {"the node that is there",
       [](F& f) { EXPECT_EQ(DOM_Element_setAttributeNode(f.e, f.Get("a")), f.Get("a")); }, 0,
       " a=1 b=2", "3a:1>(null) 2a:(null)>1 "},
      {"another document's node", [](F& f) { f.SetNode(OwnedNode(F().Make("a")).get()); },
       DOM_WRONG_DOCUMENT_ERR},
      {"another element's node",
       [](F& f) { DOM_Element_setAttributeNode(f.tree.root(), f.Get("a")); },
       DOM_INUSE_ATTRIBUTE_ERR},
      {"removal of a node", [](F& f) { f.RemoveNode(f.Get("b")); }, 0, " a=1", "3b:2>(null) ",
       nullptr, "b"},
      {"removal of a node elsewhere", [](F& f) { f.RemoveNode(OwnedNode(f.Make("a")).get()); },
       DOM_NOT_FOUND_ERR},
      // Handlers may change the attributes meanwhile.
      {"a handler sets the value", [](F& f) { f.Set("a", "8"); }, 0, " a=9 b=2", "1a:8>9 1a:1>8 ",
       [](F& f, DOM_Attr*) { f.Set("a", "9"); }},
      {"a handler removes it", [](F& f) { f.Set("a", "8"); }, 0, " b=2", "3a:8>(null) 1a:1>8 ",
       [](F& f, DOM_Attr*) { f.Remove("a"); }},
      {"a handler puts it back", [](F& f) { f.Remove("a"); }, 0, " b=2 a=1",
       "2a:(null)>1 3a:1>(null) ",
       [](F& f, DOM_Attr* attribute) { DOM_Element_setAttributeNode(f.e, attribute); }},
      {"a handler destroys the element",
       [](F& f) { EXPECT_EQ(DOM_Element_setAttributeNode(f.e, f.Get("a")), nullptr); }, 0, "",
       "3a:1>(null) ",
       [](F& f, DOM_Attr*) {
         DOM_Document_destroyNode(nullptr, f.e);
         f.tree.common_parent() = f.e = f.tree.root();
       }},
      {"a handler removes the new one", [](F& f) { f.SetNode(f.Make("a")); }, 0, " b=2",
       "3a:>(null) 3a:1>(null) ", [](F& f, DOM_Attr*) { f.Remove("a"); }, "a"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Fixture f(row.reaction);
    row.operation(f);
    EXPECT_EQ(Text(f.result == nullptr ? nullptr : f.result->nodeName), row.result);
    EXPECT_EQ(TakeError(), row.error);
    EXPECT_EQ(Attributes(f.e), row.attributes);
    EXPECT_EQ(f.log, row.log);
    EXPECT_EQ(f.tree.common_parent() == f.tree.root(), !row.log.empty());
  }
}

TEST(Attributes, AreFoundAmongMany) {
  const Tree tree;
  std::vector<OwnedNode> removed;
  for (const int kept : {60, 10, 60}) {  // an index stays, goes, and comes again
    SCOPED_TRACE(kept);
    std::string expected;
    for (int i = 0; i < 100; ++i) {
      DOM_Element_setAttribute(tree.root(), std::to_string(i).c_str(), "old");
    }
    for (int i = 0; i < 100; ++i) {
      const std::string name = std::to_string(i);
      DOM_Attr* const attribute = DOM_Element_getAttributeNode(tree.root(), name.c_str());
      if (i >= kept) {
        removed.emplace_back(DOM_Element_removeAttributeNode(tree.root(), attribute));
      } else {
        DOM_Element_setAttribute(tree.root(), name.c_str(), "new");
        expected += " " + name + "=new";
      }
      EXPECT_EQ(DOM_Element_getAttributeNode(tree.root(), name.c_str()),
                i >= kept ? nullptr : attribute);
    }
    EXPECT_EQ(Attributes(tree.root()), expected);
  }

  // Of equal names the first counts. Only the operations of lists let a second one in.
  DOM_Attr* const second = DOM_NamedNodeMap_getNamedItem(tree.root()->attributes, "2");
  DOM_Attr* const first = DOM_Document_createAttribute(tree.document(), "2");
  NodeList_insert(tree.root()->attributes, first, second);
  EXPECT_EQ(DOM_Element_getAttributeNode(tree.root(), "2"), first);
  OwnedNode(DOM_Element_removeAttributeNode(tree.root(), first)).reset();
  EXPECT_EQ(DOM_Element_getAttributeNode(tree.root(), "2"), second);
  // Nameless ones have no place in an index.
  const OwnedNode nameless(Document_createNode(tree.document(), DOM_ATTRIBUTE_NODE));
  NodeList_append(tree.root()->attributes, nameless.get());
  EXPECT_EQ(DOM_Element_getAttributeNode(tree.root(), "none"), nullptr);
  DOM_Element_removeAttributeNode(tree.root(), nameless.get());
}

TEST(Attributes, ValueIsHandedOutToBeFreed) {
  const Fixture f;
  EXPECT_EQ(Taken(DOM_Element_getAttribute(f.e, "a")), "1");
  EXPECT_EQ(Taken(DOM_Element_getAttribute(f.e, "none")), "");
  EXPECT_EQ(DOM_Element_getAttribute(f.tree.document(), "a"), nullptr);
}

}  // namespace qvx::test
