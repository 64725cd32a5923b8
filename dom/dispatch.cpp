// The dispatcher (DOM Level 2 Events, interface EventTarget).
//
// A dispatch notes which handler every slot of a node holds before it calls the first one, reads a
// slot afresh when its turn comes, and passes over one whose handler is not the noted one. A
// listener that is added meanwhile is first called by the next event, unless it took the slot of
// one with the same handler that has yet to come.
//
// Handlers may also change the tree. Whom an event reaches is settled when its dispatch starts; a
// node that a handler destroys stays until the operation that dispatched the event has ended.
#include <cstring>

#include "dom/dom.h"
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

/// The ancestors of `node`, the root first.
MallocArray<DOM_Node*> AncestorsOf(const DOM_Node* node, size_t count) {
  MallocArray<DOM_Node*> ancestors = NewArray<DOM_Node*>(count);
  if (ancestors != nullptr) {
    for (DOM_Node* ancestor = node->parentNode; count > 0; ancestor = ancestor->parentNode) {
      ancestors[--count] = ancestor;
    }
  }
  return ancestors;
}

size_t CountAncestors(const DOM_Node* node) {
  size_t count = 0;
  for (const DOM_Node* ancestor = node->parentNode; ancestor != nullptr;
       ancestor = ancestor->parentNode) {
    ++count;
  }
  return count;
}

/// One dispatch of an event at a target.
class Delivery {
 public:
  Delivery(DOM_Node* target, DOM_Event* event) : target_(target), event_(event) {}

  /// Calls the listeners of one node that belong to the phase.
  void Trigger(DOM_Node* node, uint16_t phase) const;

 private:
  bool IsMeant(const DOM_ListenerEntry* entry, DOM_EventHandler noted, uint16_t phase) const {
    return entry != nullptr && entry->handler == noted &&
           (entry->useCapture != 0) == (phase == DOM_CAPTURING_PHASE) &&
           std::strcmp(entry->type, event_->type) == 0;
  }

  /// A handler may have dispatched the same event elsewhere, so this is done before every call.
  void Stamp(DOM_Node* current, uint16_t phase) const {
    event_->target = target_;
    event_->currentTarget = current;
    event_->eventPhase = phase;
  }

  DOM_Node* target_;
  DOM_Event* event_;
};

void Delivery::Trigger(DOM_Node* node, uint16_t phase) const {
  event_->eventPhase = phase;
  const NodeListeners* const listeners = ListenersOf(node);
  const uint32_t slots = listeners != nullptr ? listeners->count : 0;
  if (slots == 0 || event_->propagationStopped != 0) {
    return;
  }
  const MallocArray<DOM_EventHandler> noted = NewArray<DOM_EventHandler>(slots);
  if (noted == nullptr) {
    FailErrno({kModule, kDispatchEvent});
    return;
  }
  for (uint32_t i = 0; i < slots; ++i) {
    noted[i] = listeners->slots[i] == nullptr ? nullptr : listeners->slots[i]->handler;
  }
  event_->currentTarget = node;
  for (uint32_t i = 0; i < slots; ++i) {
    const DOM_ListenerEntry* const entry = listeners->slots[i];
    if (IsMeant(entry, noted[i], phase)) {
      Stamp(node, phase);
      entry->handler(entry->listener, event_);
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
  const size_t depth = CountAncestors(node);
  const MallocArray<DOM_Node*> ancestors = AncestorsOf(node, depth);
  if (ancestors == nullptr) {
    FailErrno({kModule, kDispatchEvent});
    return 1;
  }

  const Delivery delivery(node, event);
  for (size_t i = 0; i < depth; ++i) {
    delivery.Trigger(ancestors[i], DOM_CAPTURING_PHASE);
  }
  delivery.Trigger(node, DOM_AT_TARGET);
  event->eventPhase = DOM_BUBBLING_PHASE;
  for (size_t i = depth; i > 0 && event->bubbles != 0; --i) {
    delivery.Trigger(ancestors[i - 1], DOM_BUBBLING_PHASE);
  }
  return event->defaultPrevented != 0 ? 0 : 1;
}
