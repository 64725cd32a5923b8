// The dispatcher (DOM Level 2 Events, interface EventTarget).
//
// Before a dispatch calls the first handler of a node, it notes the handler in each slot. It reads
// a slot again when its turn comes, and passes over a slot with another handler. So a listener that
// is added meanwhile is first called by the next event, unless it took a slot whose turn had not
// come and that held the same handler.
//
// Handlers may also change the tree. The nodes that an event reaches are settled when its dispatch
// starts. A node that a handler destroys stays until the operation that dispatched the event has
// ended.
#include <cstring>
#include <vector>

#include "dom/destruction.h"
#include "dom/failure.h"
#include "dom/listeners.h"
#include "support/timestamp.h"
#include "support/trace_modules.h"

using namespace qvx::dom;

namespace {

constexpr const char* kModule = qvx::trace_modules::kEvents;
constexpr char kDispatchEvent[] = "DOM_EventTarget_dispatchEvent";
constexpr size_t kUsualDepth = 32;  // few trees are deeper

/// The ancestors of a node, the root last. Throws std::bad_alloc.
std::vector<DOM_Node*> AncestorsOf(const DOM_Node* node) {
  std::vector<DOM_Node*> ancestors;
  ancestors.reserve(kUsualDepth);
  while ((node = node->parentNode) != nullptr) {
    ancestors.push_back(const_cast<DOM_Node*>(node));
  }
  return ancestors;
}

/// One dispatch of an event at a target.
class Delivery {
 public:
  Delivery(DOM_Node* target, DOM_Event* event) : target_(target), event_(event) {}

  /// Calls the listeners of one node that belong to the phase.
  void Trigger(DOM_Node* node, uint16_t phase) const;

 private:
  bool IsMeant(const DOM_ListenerEntry* entry, uint16_t phase) const {
    return entry != nullptr && (entry->useCapture != 0) == (phase == DOM_CAPTURING_PHASE) &&
           std::strcmp(entry->type, event_->type) == 0;
  }

  /// Calls those from the slot `first` on.
  void CallFrom(size_t first, const NodeListeners& listeners, DOM_Node* node, uint16_t phase) const;

  void Call(const DOM_ListenerEntry& entry, DOM_Node* current, uint16_t phase) const {
    // A handler may have dispatched the same event elsewhere.
    event_->target = target_;
    event_->currentTarget = current;
    event_->eventPhase = phase;
    entry.handler(entry.listener, event_);
  }

  DOM_Node* target_;
  DOM_Event* event_;
};

void Delivery::Trigger(DOM_Node* node, uint16_t phase) const {
  event_->eventPhase = phase;
  const NodeListeners* const listeners = ListenersOf(node);
  const size_t slots = listeners != nullptr ? listeners->slots.size() : 0;
  if (slots == 0 || event_->propagationStopped != 0) {
    return;
  }
  event_->currentTarget = node;
  size_t first = 0;
  while (first < slots && !IsMeant(listeners->slots[first].get(), phase)) {
    ++first;
  }
  if (first < slots) {
    CallFrom(first, *listeners, node, phase);
  }
}

void Delivery::CallFrom(size_t first, const NodeListeners& listeners, DOM_Node* node,
                        uint16_t phase) const {
  std::vector<DOM_EventHandler> noted;
  const bool are_noted = HasMemoryFor([&] {
    for (const auto& entry : listeners.slots) {
      noted.push_back(entry == nullptr ? nullptr : entry->handler);
    }
  });
  if (!are_noted) {
    FailErrno({kModule, kDispatchEvent});
    return;
  }
  for (size_t i = first; i < noted.size(); ++i) {
    const DOM_ListenerEntry* const entry = listeners.slots[i].get();
    if (IsMeant(entry, phase) && entry->handler == noted[i]) {
      Call(*entry, node, phase);
    }
  }
}

}  // namespace

int DOM_EventTarget_dispatchEvent(DOM_Node* node, DOM_Event* event) {
  const Operation operation;
  if (node == nullptr || event == nullptr) {
    Fail({kModule, kDispatchEvent}, kNullParameter);
    return 1;
  }
  if (event->type == nullptr || *event->type == '\0') {
    Fail({kModule, kDispatchEvent}, DOM_EVENT_TYPE_ERR);
    return 1;
  }
  event->target = node;
  event->timeStamp = timestamp();
  event->defaultPrevented = 0;
  event->propagationStopped = 0;
  std::vector<DOM_Node*> ancestors;
  if (!HasMemoryFor([&] { ancestors = AncestorsOf(node); })) {
    FailErrno({kModule, kDispatchEvent});
    return 1;
  }

  const Delivery delivery(node, event);
  for (size_t i = ancestors.size(); i > 0; --i) {
    delivery.Trigger(ancestors[i - 1], DOM_CAPTURING_PHASE);
  }
  delivery.Trigger(node, DOM_AT_TARGET);
  event->eventPhase = DOM_BUBBLING_PHASE;
  for (DOM_Node* ancestor : ancestors) {
    if (event->bubbles != 0) {
      delivery.Trigger(ancestor, DOM_BUBBLING_PHASE);
    }
  }
  return event->defaultPrevented != 0 ? 0 : 1;
}
