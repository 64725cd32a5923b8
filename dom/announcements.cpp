#include "dom/announcements.h"

#include <string>
#include <vector>

#include "dom/common_parent.h"
#include "dom/failure.h"
#include "dom/listeners.h"
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

/// Dispatches an event of `type` to every node of the subtree from `first` on, if one may be heard;
/// `next` leads from one to the next. Handlers may change the tree, so the nodes are gathered
/// first. A node that has left the subtree meanwhile was announced by the operation that took it
/// out. A node that has come into it was announced by the operation that put it in.
void DispatchToSubtree(const DOM_Node* root, DOM_Node* first, EventType type,
                       DOM_Node* (*next)(const DOM_Node* root, DOM_Node* node)) {
  std::vector<DOM_Node*> nodes;
  const bool are_gathered = HasMemoryFor([&] {
    for (DOM_Node* node = MayBeHeard(type) ? first : nullptr; node != nullptr;
         node = next(root, node)) {
      nodes.push_back(node);
    }
  });
  if (!are_gathered) {
    RecordLostEvent();
    return;
  }
  for (DOM_Node* node : nodes) {
    if (IsWithin(root, node)) {
      DispatchIfAwaited(node, type, Bubbling::kNo);
    }
  }
}

/// Does `dispatch` with a copy of `text` (may be null), because a handler may change the original.
template <typename Dispatcher>
void WithCopyOf(const DOM_String* text, Dispatcher dispatch) {
  std::string copy;
  if (!HasMemoryFor([&] { copy = text != nullptr ? text : ""; })) {
    RecordLostEvent();
    return;
  }
  dispatch(text != nullptr ? copy.c_str() : nullptr);
}

/// The attribute keeps its name, and lives until the operation ends.
void DispatchValues(DOM_Element* element, DOM_Attr* attribute, const DOM_String* previous,
                    const DOM_String* current, uint16_t change) {
  Dispatch(element, kAttrModified, Bubbling::kYes,
           {attribute, previous, current, attribute->nodeName, change});
}

}  // namespace

void DispatchInsertion(DOM_Node* parent, DOM_Node* node) {
  DispatchIfAwaited(node, kNodeInserted, Bubbling::kYes, {.related = parent});
  DispatchToSubtree(node, node, kNodeInsertedIntoDocument, NextInPreorder);
}

void DispatchRemoval(DOM_Node* parent, DOM_Node* node) {
  DispatchIfAwaited(node, kNodeRemoved, Bubbling::kYes, {.related = parent});
  DispatchToSubtree(node, FirstInPostorder(node), kNodeRemovedFromDocument, NextInPostorder);
}

void DispatchAttribute(DOM_Element* element, DOM_Attr* attribute, uint16_t change) {
  if (!IsAwaited(element, kAttrModified)) {
    return;
  }
  WithCopyOf(attribute->nodeValue, [&](const DOM_String* value) {
    const bool added = change == DOM_ATTR_ADDITION;
    DispatchValues(element, attribute, added ? nullptr : value, added ? value : nullptr, change);
  });
}

void AnnounceAttributeValue(DOM_Element* element, DOM_Attr* attribute, DOM_String* previous) {
  if (IsAwaited(element, kAttrModified)) {
    WithCopyOf(attribute->nodeValue, [&](const DOM_String* current) {
      DispatchValues(element, attribute, previous, current, DOM_ATTR_MODIFICATION);
    });
  }
  FreeText(attribute, previous);
}

void AnnounceData(DOM_CharacterData* node, DOM_String* previous) {
  if (IsAwaited(node, kCharacterDataModified)) {
    WithCopyOf(node->nodeValue, [&](const DOM_String* current) {
      Dispatch(node, kCharacterDataModified, Bubbling::kYes,
               {.previous = previous, .current = current});
    });
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
