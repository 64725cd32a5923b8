#include "dom/announcements.h"

#include <cstring>

#include "dom/common_parent.h"
#include "dom/failure.h"
#include "dom/listeners.h"
#include "dom/node_array.h"
#include "dom/node_memory.h"
#include "dom/node_records.h"
#include "dom/walks.h"
#include "support/trace_modules.h"

namespace qvx::dom {
namespace {

constexpr const char* kModule = qvx::trace_modules::kEvents;

/// If memory runs out, the event is dropped.
void RecordLostEvent() {
  FailErrno({kModule, "DOM_EventTarget_dispatchEvent"});
}

enum class Bubbling { kNo, kYes };

struct Details {
  DOM_Node* related = nullptr;
  const DOM_String* previous = nullptr;
  const DOM_String* current = nullptr;
  const DOM_String* name = nullptr;
  uint16_t change = 0;
};

void Dispatch(DOM_Node* target, const DOM_String* type, Bubbling bubbling,
              const Details& details = {}) {
  DOM_MutationEvent event{};
  DOM_MutationEvent_initMutationEvent(&event, type, bubbling == Bubbling::kYes ? 1 : 0, 0,
                                      details.related, details.previous, details.current,
                                      details.name, details.change);
  DOM_EventTarget_dispatchEvent(target, &event);
}

/// The two orders in which a subtree is told of its fate.
struct Preorder {
  static DOM_Node* First(DOM_Node* root) { return root; }
  static DOM_Node* Next(const DOM_Node* root, DOM_Node* node) { return NextInPreorder(root, node); }
};

struct Postorder {
  static DOM_Node* First(DOM_Node* root) { return FirstInPostorder(root); }
  static DOM_Node* Next(const DOM_Node* root, DOM_Node* node) {
    return NextInPostorder(root, node);
  }
};

/// Dispatches an event of `type` to every node of the subtree. The nodes are gathered first, so
/// that handlers may change the tree: a node that has left the subtree when its turn comes was
/// announced by the operation that took it out, and one that came into it by the one that put it
/// in.
template <typename Order>
void DispatchToSubtree(DOM_Node* root, const DOM_String* type) {
  size_t count = 0;
  for (DOM_Node* node = Order::First(root); node != nullptr; node = Order::Next(root, node)) {
    ++count;
  }
  const MallocArray<DOM_Node*> nodes = NewArray<DOM_Node*>(count);
  if (nodes == nullptr) {
    RecordLostEvent();
    return;
  }
  size_t gathered = 0;
  for (DOM_Node* node = Order::First(root); node != nullptr; node = Order::Next(root, node)) {
    nodes[gathered++] = node;
  }
  for (size_t i = 0; i < count; ++i) {
    if (IsWithin(root, nodes[i])) {
      Dispatch(nodes[i], type, Bubbling::kNo);
    }
  }
}

/// A text of an event, copied because a handler may change the original.
class EventText {
 public:
  explicit EventText(const DOM_String* text)
      : copy_(text == nullptr ? nullptr : strdup(text)),
        lost_(text != nullptr && copy_ == nullptr) {}
  const DOM_String* get() const { return copy_.get(); }
  bool lost() const { return lost_; }

 private:
  MallocOwner<DOM_String> copy_;
  bool lost_;
};

void DispatchValues(DOM_Element* element, DOM_Attr* attribute, const EventText& previous,
                    const EventText& current, uint16_t change) {
  const EventText name(attribute->nodeName);
  if (previous.lost() || current.lost() || name.lost()) {
    RecordLostEvent();
    return;
  }
  Dispatch(element, "DOMAttrModified", Bubbling::kYes,
           {attribute, previous.get(), current.get(), name.get(), change});
}

}  // namespace

void DispatchInsertion(DOM_Node* parent, DOM_Node* node) {
  Dispatch(node, "DOMNodeInserted", Bubbling::kYes, {.related = parent});
  DispatchToSubtree<Preorder>(node, "DOMNodeInsertedIntoDocument");
}

void DispatchRemoval(DOM_Node* parent, DOM_Node* node) {
  Dispatch(node, "DOMNodeRemoved", Bubbling::kYes, {.related = parent});
  DispatchToSubtree<Postorder>(node, "DOMNodeRemovedFromDocument");
}

void DispatchAttribute(DOM_Element* element, DOM_Attr* attribute, uint16_t change) {
  const bool added = change == DOM_ATTR_ADDITION;
  const EventText previous(added ? nullptr : attribute->nodeValue);
  const EventText current(added ? attribute->nodeValue : nullptr);
  DispatchValues(element, attribute, previous, current, change);
}

void AnnounceAttributeValue(DOM_Element* element, DOM_Attr* attribute, DOM_String* previous) {
  if (!MayBeHeard()) {
    FreeText(attribute, previous);
    return;
  }
  const EventText previous_copy(previous);
  const EventText current_copy(attribute->nodeValue);
  FreeText(attribute, previous);
  DispatchValues(element, attribute, previous_copy, current_copy, DOM_ATTR_MODIFICATION);
}

void AnnounceData(DOM_CharacterData* node, DOM_String* previous) {
  if (!MayBeHeard()) {
    FreeText(node, previous);
    return;
  }
  const EventText previous_copy(previous);
  const EventText current_copy(node->nodeValue);
  FreeText(node, previous);
  if (previous_copy.lost() || current_copy.lost()) {
    RecordLostEvent();
    return;
  }
  Dispatch(node, "DOMCharacterDataModified", Bubbling::kYes,
           {.previous = previous_copy.get(), .current = current_copy.get()});
}

}  // namespace qvx::dom

using namespace qvx::dom;

void DOM_MutationEvent_processSubtreeModified(DOM_Document* document) {
  DOM_Node* const common_parent = IsDocument(document) ? TakeCommonParent(document) : nullptr;
  if (common_parent != nullptr && MayBeHeard()) {
    Dispatch(common_parent, "DOMSubtreeModified", Bubbling::kYes);
  }
}
