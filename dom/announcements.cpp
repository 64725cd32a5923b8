#include "dom/announcements.h"

#include <cstring>

#include "dom/common_parent.h"
#include "dom/dispatch.h"
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

// What is put into a tree is mostly small, and so are the texts of events.
constexpr size_t kUsualSubtree = 32;
constexpr size_t kUsualText = 128;

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

/// Dispatches an event that is awaited.
void Dispatch(DOM_Node* target, EventType type, Bubbling bubbling, const Details& details) {
  DOM_MutationEvent event{};
  DOM_MutationEvent_initMutationEvent(
      &event, event_type_names[type], bubbling == Bubbling::kYes ? 1 : 0, 0, details.related,
      details.previous, details.current, details.name, details.change);
  DOM_EventTarget_dispatchEvent(target, &event);
}

void DispatchIfAwaited(DOM_Node* target, EventType type, Bubbling bubbling,
                       const Details& details = {}) {
  if (IsAwaited(target, type)) {
    Dispatch(target, type, bubbling, details);
  }
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

/// Dispatches an event of `type` to every node of the subtree. Handlers may change the tree, so the
/// nodes are gathered first. A node that has left the subtree meanwhile was announced by the
/// operation that took it out. A node that has come into it was announced by the operation that put
/// it in.
template <typename Order>
void DispatchToSubtree(DOM_Node* root, EventType type) {
  if (!MayBeHeard(type)) {
    return;
  }
  size_t count = 0;
  for (DOM_Node* node = Order::First(root); node != nullptr; node = Order::Next(root, node)) {
    ++count;
  }
  const FrameArray<DOM_Node*, kUsualSubtree> nodes(count);
  if (nodes.get() == nullptr) {
    RecordLostEvent();
    return;
  }
  size_t gathered = 0;
  for (DOM_Node* node = Order::First(root); node != nullptr; node = Order::Next(root, node)) {
    nodes.get()[gathered++] = node;
  }
  for (size_t i = 0; i < count; ++i) {
    DOM_Node* const node = nodes.get()[i];
    if (IsWithin(root, node)) {
      DispatchIfAwaited(node, type, Bubbling::kNo);
    }
  }
}

/// A text of an event, copied because a handler may change the original.
class EventText {
 public:
  explicit EventText(const DOM_String* text)
      : is_null_(text == nullptr), size_(is_null_ ? 0 : std::strlen(text) + 1), copy_(size_) {
    if (!is_null_ && copy_.get() != nullptr) {
      std::memcpy(copy_.get(), text, size_);
    }
  }
  const DOM_String* get() const { return is_null_ ? nullptr : copy_.get(); }
  bool lost() const { return copy_.get() == nullptr; }

 private:
  bool is_null_;
  size_t size_;
  FrameArray<DOM_String, kUsualText> copy_;
};

/// The attribute keeps its name, and lives until the operation ends.
void DispatchValues(DOM_Element* element, DOM_Attr* attribute, const DOM_String* previous,
                    const DOM_String* current, uint16_t change) {
  Dispatch(element, kAttrModified, Bubbling::kYes,
           {attribute, previous, current, attribute->nodeName, change});
}

void DispatchAttributeValue(DOM_Element* element, DOM_Attr* attribute, const DOM_String* previous) {
  const EventText current(attribute->nodeValue);
  if (current.lost()) {
    RecordLostEvent();
    return;
  }
  DispatchValues(element, attribute, previous, current.get(), DOM_ATTR_MODIFICATION);
}

void DispatchData(DOM_CharacterData* node, const DOM_String* previous) {
  const EventText current(node->nodeValue);
  if (current.lost()) {
    RecordLostEvent();
    return;
  }
  Dispatch(node, kCharacterDataModified, Bubbling::kYes,
           {.previous = previous, .current = current.get()});
}

}  // namespace

void DispatchInsertion(DOM_Node* parent, DOM_Node* node) {
  DispatchIfAwaited(node, kNodeInserted, Bubbling::kYes, {.related = parent});
  DispatchToSubtree<Preorder>(node, kNodeInsertedIntoDocument);
}

void DispatchRemoval(DOM_Node* parent, DOM_Node* node) {
  DispatchIfAwaited(node, kNodeRemoved, Bubbling::kYes, {.related = parent});
  DispatchToSubtree<Postorder>(node, kNodeRemovedFromDocument);
}

void DispatchAttribute(DOM_Element* element, DOM_Attr* attribute, uint16_t change) {
  if (!IsAwaited(element, kAttrModified)) {
    return;
  }
  const EventText value(attribute->nodeValue);
  if (value.lost()) {
    RecordLostEvent();
    return;
  }
  const bool added = change == DOM_ATTR_ADDITION;
  DispatchValues(element, attribute, added ? nullptr : value.get(), added ? value.get() : nullptr,
                 change);
}

void AnnounceAttributeValue(DOM_Element* element, DOM_Attr* attribute, DOM_String* previous) {
  if (IsAwaited(element, kAttrModified)) {
    DispatchAttributeValue(element, attribute, previous);
  }
  FreeText(attribute, previous);
}

void AnnounceData(DOM_CharacterData* node, DOM_String* previous) {
  if (IsAwaited(node, kCharacterDataModified)) {
    DispatchData(node, previous);
  }
  FreeText(node, previous);
}

}  // namespace qvx::dom

using namespace qvx::dom;

void DOM_MutationEvent_processSubtreeModified(DOM_Document* document) {
  DOM_Node* const common_parent = IsDocument(document) ? TakeCommonParent(document) : nullptr;
  if (common_parent != nullptr) {
    DispatchIfAwaited(common_parent, kSubtreeModified, Bubbling::kYes);
  }
}
