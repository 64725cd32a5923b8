#include "dom/listeners.h"

#include <cstring>
#include <functional>
#include <string_view>
#include <utility>

#include "dom/failure.h"
#include "support/mbs.h"
#include "support/trace_modules.h"

namespace qvx::dom {

const DOM_String* const event_type_names[kOtherType] = {
    "DOMNodeInserted",   "DOMNodeInsertedIntoDocument",
    "DOMNodeRemoved",    "DOMNodeRemovedFromDocument",
    "DOMAttrModified",   "DOMCharacterDataModified",
    "DOMSubtreeModified"};

namespace {

constexpr const char* kModule = qvx::trace_modules::kEvents;

EventType TypeNamed(const DOM_String* name) {
  uint8_t type = 0;
  while (type < kOtherType && std::strcmp(event_type_names[type], name) != 0) {
    ++type;
  }
  return static_cast<EventType>(type);
}

/// The entry of a listener that is looked for.
DOM_ListenerEntry KeyOf(const DOM_String* type, DOM_EventListener* listener,
                        DOM_EventHandler handler, int use_capture) {
  return {const_cast<DOM_String*>(type), listener, handler, use_capture != 0 ? 1U : 0U};
}

/// Puts a listener that `node` does not have into its first empty slot. Throws std::bad_alloc.
void Add(DOM_Node* node, std::unique_ptr<ListenerRecord> added) {
  NodeListeners& listeners = Model().listeners[node];
  static_cast<NodeRecord*>(node)->has_listeners = 1;
  if (listeners.empty_slots.empty()) {
    listeners.slots.emplace_back();
    listeners.empty_slots.insert(static_cast<uint32_t>(listeners.slots.size() - 1));
  }
  const auto first_empty = listeners.empty_slots.begin();
  listeners.slot_of.emplace(added.get(), *first_empty);
  listeners.counts.Add(added->event_type);
  Model().registered_listeners.Add(added->event_type);
  listeners.slots[*first_empty] = std::move(added);
  listeners.empty_slots.erase(first_empty);
}

/// Empties the slot of a listener.
void Remove(NodeListeners& listeners, uint32_t slot) {
  const std::unique_ptr<ListenerRecord> removed = std::move(listeners.slots[slot]);
  listeners.slot_of.erase(removed.get());
  listeners.counts.Remove(removed->event_type);
  Model().registered_listeners.Remove(removed->event_type);
  // When memory has run out, the slot stays empty for ever.
  static_cast<void>(HasMemoryFor([&] { listeners.empty_slots.insert(slot); }));
}

}  // namespace

// cppcheck-suppress uninitDerivedMemberVar; the base is a copy
ListenerRecord::ListenerRecord(const DOM_ListenerEntry& key, MallocOwner<DOM_String> type_copy)
    : DOM_ListenerEntry(key), owned_type(std::move(type_copy)), event_type(TypeNamed(key.type)) {
  type = owned_type.get();
}

size_t ListenerHash::operator()(const DOM_ListenerEntry* entry) const {
  constexpr size_t kFactor = 0x9e3779b1;
  size_t hash = std::hash<std::string_view>()(entry->type);
  hash = hash * kFactor + std::hash<const void*>()(entry->listener);
  hash = hash * kFactor + std::hash<DOM_EventHandler>()(entry->handler);
  return hash * kFactor + entry->useCapture;
}

bool ListenerEqual::operator()(const DOM_ListenerEntry* one, const DOM_ListenerEntry* other) const {
  return one->listener == other->listener && one->handler == other->handler &&
         one->useCapture == other->useCapture && std::strcmp(one->type, other->type) == 0;
}

NodeListeners* FindListeners(const DOM_Node* node) {
  const auto found = Model().listeners.find(node);
  return found != Model().listeners.end() ? &found->second : nullptr;
}

void FreeListenersOf(const DOM_Node* node) {
  const auto listeners = Model().listeners.find(node);
  for (const auto& entry : listeners->second.slots) {
    if (entry != nullptr) {
      Model().registered_listeners.Remove(entry->event_type);
    }
  }
  Model().listeners.erase(listeners);
}

bool IsAwaitedAbove(const DOM_Node* target, EventType type) {
  for (const DOM_Node* node = target; node != nullptr; node = node->parentNode) {
    if (HasListeners(node) && FindListeners(node)->counts.of_type[type] != 0) {
      return true;
    }
  }
  return false;
}

}  // namespace qvx::dom

using namespace qvx::dom;

void DOM_EventTarget_addEventListener(DOM_Node* node, const DOM_String* type,
                                      DOM_EventListener* listener, DOM_EventHandler handler,
                                      int use_capture) {
  if (node == nullptr || type == nullptr || handler == nullptr) {
    Fail({kModule, __func__}, kNullParameter);
    return;
  }
  const DOM_ListenerEntry key = KeyOf(type, listener, handler, use_capture);
  const NodeListeners* const known = ListenersOf(node);
  if (known != nullptr && known->slot_of.contains(&key)) {
    return;
  }
  qvx::MallocOwner<DOM_String> copy(mbsdup(type));
  if (copy == nullptr ||
      !HasMemoryFor([&] { Add(node, std::make_unique<ListenerRecord>(key, std::move(copy))); })) {
    FailErrno({kModule, __func__});
  }
}

void DOM_EventTarget_removeEventListener(DOM_Node* node, const DOM_String* type,
                                         DOM_EventListener* listener, DOM_EventHandler handler,
                                         int use_capture) {
  if (node == nullptr || type == nullptr || handler == nullptr) {
    Fail({kModule, __func__}, kNullParameter);
    return;
  }
  NodeListeners* const listeners = ListenersOf(node);
  if (listeners == nullptr) {
    return;
  }
  const DOM_ListenerEntry key = KeyOf(type, listener, handler, use_capture);
  const auto found = listeners->slot_of.find(&key);
  if (found != listeners->slot_of.end()) {
    Remove(*listeners, found->second);
  }
}

uint32_t DOM_EventTarget_listenerCount(const DOM_Node* node) {
  const NodeListeners* const listeners = node != nullptr ? ListenersOf(node) : nullptr;
  return listeners != nullptr ? static_cast<uint32_t>(listeners->slots.size()) : 0;
}

const DOM_ListenerEntry* DOM_EventTarget_listener(const DOM_Node* node, uint32_t slot) {
  return slot < DOM_EventTarget_listenerCount(node) ? ListenersOf(node)->slots[slot].get()
                                                    : nullptr;
}
