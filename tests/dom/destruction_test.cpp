// Handlers that destroy what the operation that called them works on. A use of what is gone shows
// under AddressSanitizer only; here it is seen what is left.
#include "tests/dom/invariants.h"
#include "tests/dom/model.h"

namespace qvx::test {
namespace {

/// A document with r{(a)(b)e{}!c!}, where e has k=1, a text n that is in no tree, a fragment with
/// an element, and a document D. The listener on the first document acts once, at the first event
/// of its type.
struct World : Tree {
  using Act = void (*)(World&, DOM_Event*);

  World(const char* type, Act act)
      : reaction{"", nullptr, [this, act](DOM_Event* event) { React(act, event); }} {
    DOM_Element_setAttribute(e, "k", "1");
    Add(fragment.get(), "<first");
    if (type != nullptr) {
      reaction.Hear(document(), type);
    }
  }
  void React(Act act, DOM_Event* event) {
    if (!std::exchange(has_reacted, true)) {
      act(*this, event);
      EXPECT_GT(event->target->nodeType, 0)
          << "a destroyed node stays until the operation has ended";
    }
  }
  DOM_Attr* Attribute() const { return DOM_Element_getAttributeNode(e, "k"); }

  DOM_Node* const a = Add(root(), "a");
  DOM_Node* const b = Add(root(), "b");
  DOM_Node* const e = Add(root(), "<e");
  DOM_Node* const c = Add(root(), "!c");
  OwnedNode fragment{DOM_Document_createDocumentFragment(document())};
  OwnedNode empty{DOM_Implementation_createDocument(nullptr, nullptr, nullptr)};
  OwnedNode n{DOM_Document_createTextNode(document(), "n")};
  bool has_reacted = false;
  Listener reaction;
};
using W = World;
using E = DOM_Event*;

void Merge(W& w, E /*event*/) {
  DOM_Element_normalize(w.root());
}

/// Only one of the two elements finds a place in the empty document.
void MoveToFullDocument(W& w, E /*event*/) {
  DOM_Node_appendChild(w.fragment.get(), w.e);
  DOM_Node_appendChild(w.empty.get(), w.fragment.get());
}

void PutBackAndRemove(W& w, E event) {
  DOM_Element_setAttributeNode(w.e, event->relatedNode);
  DOM_Element_removeAttribute(w.e, "k");
}

void DestroyTarget(W& w, E event) {
  DOM_Document_destroyNode(w.document(), event->target);
}

/// Returns the document element of a load that fails.
DOM_Element* Load(W& w, const std::string& text) {
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> stream(std::tmpfile(), std::fclose);
  std::fwrite(text.data(), 1, text.size(), stream.get());
  std::rewind(stream.get());
  w.reaction.Hear(w.empty.get(), "DOMNodeInserted");
  EXPECT_EQ(DOM_DocumentLS_fread(w.empty.get(), stream.get()), 0);
  return DOM_Document_getDocumentElement(w.empty.get());
}

TEST(Destruction, WaitsForTheOperationThatIsUnderWay) {
  const char* const data = "DOMCharacterDataModified";
  const char* const inserted = "DOMNodeInserted";
  const char* const removed = "DOMNodeRemoved";
  const char* const attribute = "DOMAttrModified";
  const struct {
    const char* name;
    const char* type;
    World::Act act;
    DOM_Node* (*operation)(World&);
    const char* result;  // the name and value of the node that is returned
    int32_t error;
    const char* children;
  } rows[] = {
      {"the text in work is merged away", data, Merge,
       [](W& w) { return DOM_CharacterData_replaceData(w.a, 0, 1, "x"), w.n.get(); }, "#text=n", 0,
       "(b)e{}!c!"},
      {"a text is replaced by its own", nullptr, nullptr,
       [](W& w) {
         return DOM_CharacterData_appendData(w.a, "z"),
                DOM_CharacterData_replaceData(w.a, 0, 2, w.a->nodeValue), w.a;
       },
       "#text=az", 0, "(az)(b)e{}!c!"},
      {"the split text is merged away", data, Merge,
       [](W& w) { return DOM_Text_splitText(w.a, 1); }, "", DOM_WRONG_DOCUMENT_ERR, "(ab)e{}!c!"},
      {"the split-off text is merged away", inserted, Merge,
       [](W& w) { return DOM_Text_splitText(w.a, 0); }, "", DOM_NOT_FOUND_ERR, "(ab)e{}!c!"},
      {"a merger within a merger", data, Merge,
       [](W& w) { return DOM_Element_normalize(w.root()), w.b; }, "#text=aab", 0, "(aab)e{}!c!"},
      {"the inserted text is merged away", inserted, Merge,
       [](W& w) { return DOM_Node_insertBefore(w.root(), w.n.get(), w.b); }, "", DOM_NOT_FOUND_ERR,
       "(anb)e{}!c!"},
      {"the removed text is merged away", removed, Merge,
       [](W& w) { return DOM_Node_removeChild(w.root(), w.a); }, "", DOM_NOT_FOUND_ERR,
       "(ab)e{}!c!"},
      {"the replacing text is merged away", inserted, Merge,
       [](W& w) {
         return w.n.reset(DOM_Node_replaceChild(w.root(), w.n.release(), w.a)), w.n.get();
       },
       "#text=a", 0, "(nb)e{}!c!"},
      {"the replaced text is destroyed elsewhere", inserted,
       [](W& w, E) {
         DOM_Node_insertBefore(w.e, w.a, nullptr);
         DOM_Document_destroyNode(w.document(), w.a);
       },
       [](W& w) {
         return w.n.reset(DOM_Node_replaceChild(w.root(), w.n.release(), w.a)), w.n.get();
       },
       "#text=a", 0, "(n)(b)e{}!c!"},
      {"the moved element is left over from a fragment", removed, MoveToFullDocument,
       [](W& w) { return DOM_Node_appendChild(w.root(), w.e); }, "", DOM_HIERARCHY_REQUEST_ERR,
       "(a)(b)!c!"},
      {"the new attribute is removed", attribute,
       [](W& w, E) { DOM_Element_removeAttribute(w.e, "k"); },
       [](W& w) { return DOM_Element_setAttribute(w.e, "k", "2"), w.Attribute(); }, "", 0,
       "(a)(b)e{}!c!"},
      {"the removed attribute is removed again", attribute, PutBackAndRemove,
       [](W& w) { return DOM_Element_removeAttributeNode(w.e, w.Attribute()); }, "", 0,
       "(a)(b)e{}!c!"},
      {"the destroyed attribute is destroyed again", attribute, PutBackAndRemove,
       [](W& w) { return DOM_Element_removeAttribute(w.e, "k"), w.Attribute(); }, "", 0,
       "(a)(b)e{}!c!"},
      {"the attribute that stays is removed", attribute,
       [](W& w, E) { DOM_Element_removeAttribute(w.e, "k"); },
       [](W& w) { return DOM_Element_setAttributeNode(w.e, w.Attribute()); }, "", 0,
       "(a)(b)e{}!c!"},
      {"the new child is destroyed", inserted, DestroyTarget,
       [](W& w) { return DOM_Node_appendChild(w.root(), w.n.get()); }, "", DOM_NOT_FOUND_ERR,
       "(a)(b)e{}!c!"},
      {"the destroyed child is put back", inserted,
       [](W& w, E event) {
         DestroyTarget(w, event);
         DOM_Node_appendChild(w.e, event->target);
       },
       [](W& w) { return DOM_Node_appendChild(w.root(), w.n.release()); }, "#text=n", 0,
       "(a)(b)e{(n)}!c!"},
      {"the open element of a load is destroyed", inserted, DestroyTarget,
       [](W& w) { return Load(w, "<f><g/>x</f>"); }, "", DOM_NOT_FOUND_ERR, "(a)(b)e{}!c!"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    World world(row.type, row.act);
    const DOM_Node* const result = row.operation(world);
    const std::string shown =
        result == nullptr ? "" : Text(result->nodeName) + "=" + Text(result->nodeValue);
    EXPECT_EQ(shown, row.result);
    EXPECT_EQ(TakeError(), row.error);
    EXPECT_EQ(Children(world.root()), row.children);
    EXPECT_EQ(Violation(world.document()), "");
  }
}

}  // namespace
}  // namespace qvx::test
