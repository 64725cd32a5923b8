// The same operations on two documents, of which one has listeners, give the same results and the
// same trees. What was saved and loaded is saved the same again.
#include <array>
#include <cstdio>
#include <utility>

#include "dom/handles.h"
#include "os/files.h"
#include "support/malloc_owner.h"
#include "tests/fuzz/input.h"

namespace qvx::test {
namespace {

constexpr size_t kSlots = 8;
constexpr size_t kMostOperations = 200;

const char* const kEventTypes[] = {"DOMSubtreeModified",
                                   "DOMNodeInserted",
                                   "DOMNodeRemoved",
                                   "DOMNodeInsertedIntoDocument",
                                   "DOMNodeRemovedFromDocument",
                                   "DOMAttrModified",
                                   "DOMCharacterDataModified"};

void Ignore(DOM_EventListener* /*listener*/, DOM_Event* /*event*/) {}

std::string Saved(const DOM_Node* node) {
  char* text = nullptr;
  size_t size = 0;
  File stream(open_memstream(&text, &size));
  const int result = DOM_DocumentLS_fwrite(node, stream.get());
  stream.reset();
  return std::to_string(result) + MallocOwner<char>(text).get();
}

DOM_Node* ParentOf(const DOM_Node* node) {
  return node->nodeType == DOM_ATTRIBUTE_NODE
             ? DOM_AttributePart(const_cast<DOM_Node*>(node)).ownerElement
             : node->parentNode;
}

/// A document, and the nodes that its operations work on. A node in a slot is in the document, or
/// below another slot's node, or this object's own.
class Workshop {
 public:
  explicit Workshop(bool listens) {
    for (const char* type : kEventTypes) {
      if (listens) {
        DOM_EventTarget_addEventListener(document_, type, nullptr, Ignore, 0);
        DOM_EventTarget_addEventListener(document_, type, nullptr, Ignore, 1);
      }
    }
    slots_[0] = DOM_Node_appendChild(document_, DOM_Document_createElement(document_, "r"));
  }

  /// Returns what every operation gave, and the document and the slots as texts.
  std::string Run(Input input) {
    for (size_t i = 0; i < kMostOperations && !input.IsAtEnd(); ++i) {
      *_DOM_Exception() = 0;
      Operate(input);
      report_ += std::to_string(*_DOM_Exception()) + ";";
    }
    *_DOM_Exception() = 0;
    report_ += Saved(document_);
    for (const DOM_Node* node : slots_) {
      report_ += node == nullptr ? "\n-" : "\n" + Saved(node);
    }
    for (size_t slot = 0; slot < kSlots; ++slot) {
      Put(slot, nullptr);
    }
    return report_;
  }

  std::string text() const { return Saved(document_); }

 private:
  static std::string Word(Input& input) {
    return std::string(input.Below(4), static_cast<char>('a' + input.Below(3)));
  }
  static std::string Name(Input& input) {
    return std::string(1, static_cast<char>('a' + input.Below(3)));
  }

  bool IsBelow(const DOM_Node* node, const DOM_Node* top) const {
    while (node != nullptr && node != top) {
      node = ParentOf(node);
    }
    return node != nullptr;
  }

  /// Forgets the nodes that are about to go with `top`.
  template <typename Predicate>
  void Forget(const DOM_Node* top, Predicate is_meant) {
    for (DOM_Node*& node : slots_) {
      if (node != nullptr && is_meant(node) && IsBelow(node, top)) {
        node = nullptr;
      }
    }
  }
  void ForgetAll(const DOM_Node* top) {
    Forget(top, [](const DOM_Node*) { return true; });
  }

  bool IsHeld(const DOM_Node* node) const {
    return std::find(slots_.begin(), slots_.end(), node) != slots_.end();
  }

  /// A node that nobody else owns is destroyed when the slot gets another one.
  void Put(size_t slot, DOM_Node* node) {
    DOM_Node* const old = std::exchange(slots_[slot], nullptr);
    if (old != nullptr && ParentOf(old) == nullptr && !IsHeld(old)) {
      ForgetAll(old);
      DOM_Document_destroyNode(document_, old);
    }
    slots_[slot] = node;
  }

  DOM_Node* Slot(Input& input) { return slots_[input.Below(kSlots)]; }

  void Create(Input& input) {
    const size_t slot = input.Below(kSlots);
    const size_t kind = input.Below(8);
    const std::string name = Name(input);
    const std::string data = Word(input);
    DOM_Document* const d = document_;
    Put(slot, kind == 0   ? DOM_Document_createElement(d, name.c_str())
              : kind == 1 ? DOM_Document_createTextNode(d, data.c_str())
              : kind == 2 ? DOM_Document_createComment(d, data.c_str())
              : kind == 3 ? DOM_Document_createCDATASection(d, data.c_str())
              : kind == 4 ? DOM_Document_createDocumentFragment(d)
              : kind == 5 ? DOM_Document_createAttribute(d, name.c_str())
              : kind == 6
                  ? DOM_Document_createEntityReference(d, name.c_str())
                  : DOM_Document_createProcessingInstruction(d, name.c_str(), data.c_str()));
  }

  void Note(const void* result) { report_ += result == nullptr ? "n" : "y"; }

  void ChangeTree(Input& input) {
    const size_t kind = input.Below(4);
    DOM_Node* const parent = input.Below(4) == 0 ? document_ : Slot(input);
    DOM_Node* const child = Slot(input);
    if (child != nullptr && child->nodeType == DOM_DOCUMENT_FRAGMENT_NODE) {
      // A child that is refused on its way is destroyed.
      Forget(child, [child](const DOM_Node* node) { return node != child; });
    }
    DOM_Node* const other = Slot(input);
    Note(kind == 0   ? DOM_Node_appendChild(parent, child)
         : kind == 1 ? DOM_Node_insertBefore(parent, child, other)
         : kind == 2 ? DOM_Node_replaceChild(parent, child, other)
                     : DOM_Node_removeChild(parent, child));
  }

  void ChangeAttributes(Input& input) {
    const size_t kind = input.Below(4);
    DOM_Node* const element = Slot(input);
    DOM_Node* const attribute = Slot(input);
    const std::string name = Name(input);
    DOM_Node* const old = DOM_Element_getAttributeNode(element, name.c_str());
    if (kind == 0) {
      DOM_Element_setAttribute(element, name.c_str(), Word(input).c_str());
    } else if (kind == 1) {
      ForgetAll(old);
      DOM_Element_removeAttribute(element, name.c_str());
    } else {
      DOM_Node* const out = kind == 2 ? DOM_Element_setAttributeNode(element, attribute)
                                      : DOM_Element_removeAttributeNode(element, attribute);
      Note(out);
      if (out != nullptr && out != attribute && !IsHeld(out)) {
        ForgetAll(out);
        DOM_Document_destroyNode(document_, out);
      }
    }
  }

  void ChangeData(Input& input) {
    const size_t kind = input.Below(6);
    DOM_Node* const node = Slot(input);
    const auto offset = static_cast<int32_t>(input.Below(6)) - 1;
    const auto count = static_cast<int32_t>(input.Below(6)) - 1;
    const std::string data = Word(input);
    if (kind == 0) {
      DOM_CharacterData_appendData(node, data.c_str());
    } else if (kind == 1) {
      DOM_CharacterData_insertData(node, offset, data.c_str());
    } else if (kind == 2) {
      DOM_CharacterData_deleteData(node, offset, count);
    } else if (kind == 3) {
      DOM_CharacterData_replaceData(node, offset, count, data.c_str());
    } else if (kind == 4) {
      const MallocOwner<char> part(DOM_CharacterData_substringData(node, offset, count));
      report_ += part == nullptr ? "null" : part.get();
    } else {
      Note(DOM_Text_splitText(node, offset));
    }
  }

  void LookUp(Input& input) {
    const NodeListHolder list(DOM_Document_getElementsByTagName(document_, Name(input).c_str()),
                              {document_});
    for (int32_t i = 0; const DOM_Node* node = DOM_NodeList_item(list.get(), i); ++i) {
      report_ += node->nodeName;
    }
  }

  void Operate(Input& input) {
    const size_t kind = input.Below(12);
    if (kind < 3) {
      Create(input);
    } else if (kind < 6) {
      ChangeTree(input);
    } else if (kind < 8) {
      ChangeAttributes(input);
    } else if (kind < 9) {
      ChangeData(input);
    } else if (kind < 10) {
      DOM_Node* const top = Slot(input);
      Forget(top, [top](const DOM_Node* node) {
        return node != top && node->nodeType == DOM_TEXT_NODE;
      });
      DOM_Element_normalize(top);
    } else if (kind < 11) {
      const DOM_Node* const original = Slot(input);
      const int is_deep = static_cast<int>(input.Below(2));
      const size_t slot = input.Below(kSlots);
      Put(slot, DOM_Node_cloneNode(const_cast<DOM_Node*>(original), is_deep));
    } else {
      LookUp(input);
    }
  }

  const DocumentHolder holder_ = NewDocument();
  DOM_Document* const document_ = holder_.get();
  std::array<DOM_Node*, kSlots> slots_{};
  std::string report_;
};

/// Returns the saved text of the document that `text` is loaded into; nothing when it does not
/// load.
std::string SavedAgain(const std::string& text) {
  const File stream(fmemopen(const_cast<char*>(text.data()), text.size(), "r"));
  const DocumentHolder document = NewDocument();
  const int result = DOM_DocumentLS_fread(document.get(), stream.get());
  *_DOM_Exception() = 0;
  return result == 1 ? Saved(document.get()).substr(1) : "";
}

}  // namespace

void Check(Input input) {
  Workshop plain(false);
  Workshop heard(true);
  const std::string report = plain.Run(input);
  Require(report == heard.Run(input));
  const std::string once = SavedAgain(plain.text().substr(1));
  Require(once.empty() || SavedAgain(once) == once);
}

}  // namespace qvx::test
