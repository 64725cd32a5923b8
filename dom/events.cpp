// Event objects, listeners and the dispatcher (DOM Level 2 Events).
//
// A node keeps an array of slots, each empty or a listener. Slots are never given up, only reused,
// so a handler may add and remove listeners, its own included, while a dispatch walks over them:
// the dispatch notes which handler every slot holds before it calls the first one, reads a slot
// afresh when its turn comes, and passes over one whose handler is not the noted one. A listener
// that is added meanwhile is first called by the next event, unless it took the slot of one with
// the same handler that has yet to come.
//
// Handlers may also change the tree. Whom an event reaches is settled when its dispatch starts; a
// node that a handler destroys stays until the operation that dispatched the event has ended.
#include <cstdlib>
#include <cstring>
#include <memory>

#include "dom/dom.h"
#include "dom/failure.h"
#include "dom/mutation_events.h"
#include "dom/node_array.h"
#include "dom/operation.h"
#include "support/mbs.h"
#include "support/timestamp.h"

namespace {

using qvx::TraceSite;
using qvx::dom::Fail;
using qvx::dom::FailErrno;
using qvx::dom::MallocArray;
using qvx::dom::NewArray;

constexpr const char* kSource = "src/events.cpp";
constexpr uint32_t kModifiers = 8;

bool IsEmpty(const DOM_String* text) {
  return text == nullptr || *text == '\0';
}

/// Sets what all kinds of events have; false for an event or type that is not to be used.
bool Init(DOM_Event* event, const DOM_String* type, int bubbles, int cancelable) {
  if (event == nullptr || IsEmpty(type)) {
    return false;
  }
  event->type = type;
  event->bubbles = bubbles != 0 ? 1 : 0;
  event->cancelable = cancelable != 0 ? 1 : 0;
  return true;
}

uint32_t ModifierBit(uint32_t modifier) {
  return modifier >= 1 && modifier <= kModifiers ? uint32_t{1} << (modifier - 1) : 0;
}

/// What tells one listener of a node from another.
struct ListenerKey {
  const DOM_String* type;
  DOM_EventListener* listener;
  DOM_EventHandler handler;
  uint32_t use_capture;

  bool Matches(const DOM_ListenerEntry* entry) const {
    return entry != nullptr && entry->listener == listener && entry->handler == handler &&
           entry->useCapture == use_capture && std::strcmp(entry->type, type) == 0;
  }
};

/// The slot that holds the listener, or null.
DOM_ListenerEntry** FindSlot(DOM_Node* node, const ListenerKey& key) {
  for (uint32_t i = 0; i < node->listenerCount; ++i) {
    if (key.Matches(node->listeners[i])) {
      return &node->listeners[i];
    }
  }
  return nullptr;
}

void FreeEntry(DOM_ListenerEntry* entry) {
  if (entry != nullptr) {
    std::free(entry->type);
    std::free(entry);
  }
}

struct EntryDeleter {
  void operator()(DOM_ListenerEntry* entry) const { FreeEntry(entry); }
};
using OwnedEntry = std::unique_ptr<DOM_ListenerEntry, EntryDeleter>;

/// A listener record; null with errno set when it cannot be made.
OwnedEntry NewEntry(const ListenerKey& key) {
  OwnedEntry entry(static_cast<DOM_ListenerEntry*>(std::calloc(1, sizeof(DOM_ListenerEntry))));
  if (entry == nullptr) {
    return nullptr;
  }
  entry->type = mbsdup(key.type);
  entry->listener = key.listener;
  entry->handler = key.handler;
  entry->useCapture = key.use_capture;
  if (entry->type == nullptr) {
    entry.reset();
  }
  return entry;
}

/// An empty slot, a new one when all are taken; null with errno set when memory ran out.
DOM_ListenerEntry** EmptySlot(DOM_Node* node) {
  for (uint32_t i = 0; i < node->listenerCount; ++i) {
    if (node->listeners[i] == nullptr) {
      return &node->listeners[i];
    }
  }
  DOM_ListenerEntry** const grown =
      qvx::dom::ResizeArray(node->listeners, size_t{node->listenerCount} + 1);
  if (grown == nullptr) {
    return nullptr;
  }
  node->listeners = grown;
  DOM_ListenerEntry** const slot = &node->listeners[node->listenerCount++];
  *slot = nullptr;
  return slot;
}

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
  Delivery(const TraceSite& site, DOM_Node* target, DOM_Event* event)
      : site_(site), target_(target), event_(event) {}

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

  const TraceSite& site_;
  DOM_Node* target_;
  DOM_Event* event_;
};

void Delivery::Trigger(DOM_Node* node, uint16_t phase) const {
  event_->eventPhase = phase;
  const uint32_t slots = node->listenerCount;
  if (slots == 0 || event_->propagationStopped != 0) {
    return;
  }
  const MallocArray<DOM_EventHandler> noted = NewArray<DOM_EventHandler>(slots);
  if (noted == nullptr) {
    return FailErrno(site_);
  }
  for (uint32_t i = 0; i < slots; ++i) {
    noted[i] = node->listeners[i] == nullptr ? nullptr : node->listeners[i]->handler;
  }
  event_->currentTarget = node;
  for (uint32_t i = 0; i < slots; ++i) {
    const DOM_ListenerEntry* const entry = node->listeners[i];
    if (IsMeant(entry, noted[i], phase)) {
      Stamp(node, phase);
      entry->handler(entry->listener, event_);
    }
  }
}

}  // namespace

DOM_Event* DOM_DocumentEvent_createEvent(DOM_Document* document, const DOM_String* module_name) {
  const TraceSite site(kSource, __func__);
  if (document == nullptr || module_name == nullptr) {
    Fail(site, kNullParameter);
    return nullptr;
  }
  if (std::strcmp(module_name, "Events") != 0 && std::strcmp(module_name, "UIEvents") != 0 &&
      std::strcmp(module_name, "TextEvents") != 0) {
    Fail(site, DOM_NOT_SUPPORTED_ERR);
    return nullptr;
  }
  auto* event = static_cast<DOM_Event*>(std::calloc(1, sizeof(DOM_Event)));
  if (event == nullptr) {
    FailErrno(site);
  }
  return event;
}

void DOM_DocumentEvent_destroyEvent(DOM_Document* document, DOM_Event* event) {
  if (document != nullptr) {
    std::free(event);
  }
}

void DOM_Event_initEvent(DOM_Event* event, const DOM_String* type, int bubbles, int cancelable) {
  Init(event, type, bubbles, cancelable);
}

void DOM_UIEvent_initUIEvent(DOM_UIEvent* event, const DOM_String* type, int bubbles,
                             int cancelable, void* view, int32_t detail) {
  if (Init(event, type, bubbles, cancelable)) {
    event->view = view;
    event->detail = detail;
  }
}

void DOM_TextEvent_initTextEvent(DOM_TextEvent* event, const DOM_String* type, int bubbles,
                                 int cancelable, void* view, int32_t detail,
                                 const DOM_String* output_string, uint32_t key_val,
                                 uint32_t virt_key_val, uint32_t visible_output_generated,
                                 int num_pad) {
  if (!Init(event, type, bubbles, cancelable)) {
    return;
  }
  event->view = view;
  event->detail = detail;
  event->outputString = output_string;
  event->keyVal = key_val;
  event->virtKeyVal = virt_key_val;
  event->visibleOutputGenerated = visible_output_generated;
  event->numPad = num_pad != 0 ? 1 : 0;
}

void DOM_TextEvent_initModifier(DOM_TextEvent* event, uint32_t modifier, int value) {
  if (event == nullptr) {
    return;
  }
  if (value != 0) {
    event->modifiers |= ModifierBit(modifier);
    return;
  }
  event->modifiers &= ~ModifierBit(modifier);
}

int DOM_TextEvent_checkModifier(const DOM_TextEvent* event, uint32_t modifier) {
  return event != nullptr && (event->modifiers & ModifierBit(modifier)) != 0 ? 1 : 0;
}

void DOM_MutationEvent_initMutationEvent(DOM_MutationEvent* event, const DOM_String* type,
                                         int bubbles, int cancelable, DOM_Node* related_node,
                                         const DOM_String* prev_value, const DOM_String* new_value,
                                         const DOM_String* attr_name, uint16_t attr_change) {
  if (!Init(event, type, bubbles, cancelable)) {
    return;
  }
  event->relatedNode = related_node;
  event->prevValue = prev_value;
  event->newValue = new_value;
  event->attrName = attr_name;
  event->attrChange = attr_change;
}

void DOM_Event_stopPropagation(DOM_Event* event) {
  if (event != nullptr) {
    event->propagationStopped = 1;
  }
}

void DOM_Event_preventDefault(DOM_Event* event) {
  if (event != nullptr && event->cancelable != 0) {
    event->defaultPrevented = 1;
  }
}

void DOM_EventTarget_addEventListener(DOM_Node* node, const DOM_String* type,
                                      DOM_EventListener* listener, DOM_EventHandler handler,
                                      int use_capture) {
  const TraceSite site(kSource, __func__);
  if (node == nullptr || type == nullptr || handler == nullptr) {
    return Fail(site, kNullParameter);
  }
  const ListenerKey key{type, listener, handler, use_capture != 0 ? 1U : 0U};
  if (FindSlot(node, key) != nullptr) {
    return;
  }
  OwnedEntry entry = NewEntry(key);
  DOM_ListenerEntry** const slot = entry == nullptr ? nullptr : EmptySlot(node);
  if (slot == nullptr) {
    return FailErrno(site);
  }
  *slot = entry.release();
  ++qvx::dom::registered_listeners;
}

void DOM_EventTarget_removeEventListener(DOM_Node* node, const DOM_String* type,
                                         DOM_EventListener* listener, DOM_EventHandler handler,
                                         int use_capture) {
  if (node == nullptr || type == nullptr || handler == nullptr) {
    return Fail(TraceSite(kSource, __func__), kNullParameter);
  }
  DOM_ListenerEntry** const slot =
      FindSlot(node, {type, listener, handler, use_capture != 0 ? 1U : 0U});
  if (slot != nullptr) {
    FreeEntry(*slot);
    *slot = nullptr;
    --qvx::dom::registered_listeners;
  }
}

int DOM_EventTarget_dispatchEvent(DOM_Node* node, DOM_Event* event) {
  const TraceSite site(kSource, __func__);
  const qvx::dom::Operation operation;
  if (node == nullptr || event == nullptr) {
    Fail(site, kNullParameter);
    return 1;
  }
  if (IsEmpty(event->type)) {
    Fail(site, DOM_EVENT_TYPE_ERR);
    return 1;
  }
  event->target = node;
  event->timeStamp = timestamp();
  event->defaultPrevented = 0;
  event->propagationStopped = 0;
  const size_t depth = CountAncestors(node);
  const MallocArray<DOM_Node*> ancestors = AncestorsOf(node, depth);
  if (ancestors == nullptr) {
    FailErrno(site);
    return 1;
  }

  const Delivery delivery(site, node, event);
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
