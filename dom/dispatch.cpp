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
#include "dom/dispatch.h"

#include <cstring>

#include "dom/failure.h"
#include "dom/listeners.h"
#include "dom/node_array.h"
#include "dom/operation.h"
#include "support/timestamp.h"
#include "support/trace_modules.h"

using namespace qvx::dom;

namespace {

constexpr const char* kModule = qvx::trace_modules::kEvents;
constexpr char kDispatchEvent[] = "DOM_EventTarget_dispatchEvent";

// Few trees are deeper, and few nodes have more listeners.
constexpr size_t kUsualDepth = 32;
constexpr size_t kUsualSlots = 16;

size_t CountAncestors(const DOM_Node* node) {
  size_t count = 0;
  for (const DOM_Node* ancestor = node->parentNode; ancestor != nullptr;
       ancestor = ancestor->parentNode) {
    ++count;
  }
  return count;
}

/// The ancestors of a node, the root first.
class Ancestors {
 public:
  explicit Ancestors(const DOM_Node* node) : count_(CountAncestors(node)), nodes_(count_) {
    size_t left = nodes_.get() != nullptr ? count_ : 0;
    for (DOM_Node* ancestor = node->parentNode; left > 0; ancestor = ancestor->parentNode) {
      nodes_.get()[--left] = ancestor;
    }
  }
  /// Whether memory was left for them; errno tells.
  bool are_known() const { return nodes_.get() != nullptr; }
  size_t count() const { return count_; }
  DOM_Node* operator[](size_t index) const { return nodes_.get()[index]; }

 private:
  size_t count_;
  FrameArray<DOM_Node*, kUsualDepth> nodes_;
};

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

  /// Calls those from the slot `first` on, which is meant, to the slot in front of `end`.
  void CallFrom(size_t first, size_t end, const NodeListeners& listeners, DOM_Node* node,
                uint16_t phase) const;

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
    CallFrom(first, slots, *listeners, node, phase);
  }
}

void Delivery::CallFrom(size_t first, size_t end, const NodeListeners& listeners, DOM_Node* node,
                        uint16_t phase) const {
  const FrameArray<DOM_EventHandler, kUsualSlots> noted(end - first);
  if (noted.get() == nullptr) {
    FailErrno({kModule, kDispatchEvent});
    return;
  }
  for (size_t i = first; i < end; ++i) {
    noted.get()[i - first] = listeners.slots[i] == nullptr ? nullptr : listeners.slots[i]->handler;
  }
  for (size_t i = first; i < end; ++i) {
    const DOM_ListenerEntry* const entry = listeners.slots[i].get();
    if (IsMeant(entry, phase) && entry->handler == noted.get()[i - first]) {
      Call(*entry, node, phase);
    }
  }
}

}  // namespace

bool qvx::dom::IsAwaitedAbove(const DOM_Node* target, EventType type) {
  for (const DOM_Node* node = target; node != nullptr; node = node->parentNode) {
    if (HasListeners(node) && FindListeners(node)->counts.of_type[type] != 0) {
      return true;
    }
  }
  return false;
}

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
  const Ancestors ancestors(node);
  if (!ancestors.are_known()) {
    FailErrno({kModule, kDispatchEvent});
    return 1;
  }

  const Delivery delivery(node, event);
  for (size_t i = 0; i < ancestors.count(); ++i) {
    delivery.Trigger(ancestors[i], DOM_CAPTURING_PHASE);
  }
  delivery.Trigger(node, DOM_AT_TARGET);
  event->eventPhase = DOM_BUBBLING_PHASE;
  for (size_t i = ancestors.count(); i > 0 && event->bubbles != 0; --i) {
    delivery.Trigger(ancestors[i - 1], DOM_BUBBLING_PHASE);
  }
  return event->defaultPrevented != 0 ? 0 : 1;
}
