#include "dom/listeners.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>

#include "dom/failure.h"
#include "dom/node_array.h"
#include "support/mbs.h"
#include "support/trace_modules.h"

namespace qvx::dom {

ListenerCounts registered_listeners = {};

const DOM_String* const event_type_names[kOtherType] = {
    "DOMNodeInserted",   "DOMNodeInsertedIntoDocument",
    "DOMNodeRemoved",    "DOMNodeRemovedFromDocument",
    "DOMAttrModified",   "DOMCharacterDataModified",
    "DOMSubtreeModified"};

namespace {

constexpr const char* kModule = qvx::trace_modules::kEvents;

size_t HashOf(const NodeListeners& listeners) {
  return HashOfAddress(listeners.node);
}

HashIndex<NodeListeners, HashOf> nodes_with_listeners;

EventType TypeNamed(const DOM_String* name) {
  uint8_t type = 0;
  while (type < kOtherType && std::strcmp(event_type_names[type], name) != 0) {
    ++type;
  }
  return static_cast<EventType>(type);
}

/// What tells one listener of a node from another.
struct ListenerKey {
  const DOM_String* type;
  DOM_EventListener* listener;
  DOM_EventHandler handler;
  uint32_t use_capture;

  size_t Hash() const {
    return HashOfText(type) + HashOfAddress(listener) +
           HashOfAddress(reinterpret_cast<const void*>(handler)) + use_capture;
  }
  bool Matches(const ListenerRecord& entry) const {
    return entry.listener == listener && entry.handler == handler &&
           entry.useCapture == use_capture && std::strcmp(entry.type, type) == 0;
  }
};

/// The listener of `node` with that key, or null.
ListenerRecord* FindListener(const NodeListeners* listeners, const ListenerKey& key) {
  if (listeners == nullptr) {
    return nullptr;
  }
  return listeners->index.Find(key.Hash(),
                               [&](const ListenerRecord& entry) { return key.Matches(entry); });
}

struct ListenerDeleter {
  void operator()(ListenerRecord* entry) const {
    std::free(entry->type);
    std::free(entry);
  }
};
using OwnedListener = std::unique_ptr<ListenerRecord, ListenerDeleter>;

/// A listener record; null with errno set when it cannot be made.
OwnedListener NewListener(const ListenerKey& key) {
  OwnedListener entry(static_cast<ListenerRecord*>(std::calloc(1, sizeof(ListenerRecord))));
  if (entry == nullptr) {
    return nullptr;
  }
  entry->type = mbsdup(key.type);
  entry->listener = key.listener;
  entry->handler = key.handler;
  entry->useCapture = key.use_capture;
  entry->hash = key.Hash();
  entry->event_type = TypeNamed(key.type);
  if (entry->type == nullptr) {
    entry.reset();
  }
  return entry;
}

/// What `node` has; what it gets when it has nothing. Null with errno set when memory ran out.
NodeListeners* MakeListeners(DOM_Node* node) {
  if (NodeListeners* const known = ListenersOf(node)) {
    return known;
  }
  if (!nodes_with_listeners.Reserve(nodes_with_listeners.count() + 1)) {
    return nullptr;
  }
  auto* made = static_cast<NodeListeners*>(std::calloc(1, sizeof(NodeListeners)));
  if (made != nullptr) {
    made->node = node;
    nodes_with_listeners.Insert(made);
    static_cast<NodeRecord*>(node)->has_listeners = 1;
  }
  return made;
}

/// Makes sure of an empty slot and of a place in the index. Returns false with errno set when
/// memory ran out.
bool MakeRoom(NodeListeners* listeners) {
  if (!listeners->index.Reserve(listeners->index.count() + 1)) {
    return false;
  }
  if (listeners->empty_count != 0 || listeners->count < listeners->room) {
    return true;
  }
  const uint32_t room = std::max(2 * listeners->room, uint32_t{1});
  if (!ResizeArray(listeners->slots, room) || !ResizeArray(listeners->empty_slots, room)) {
    return false;
  }
  listeners->room = room;
  return true;
}

/// The number of the first empty slot, which is empty no longer.
uint32_t TakeSlot(NodeListeners* listeners) {
  if (listeners->empty_count == 0) {
    return listeners->count++;
  }
  uint32_t* const empty = listeners->empty_slots;
  std::pop_heap(empty, empty + listeners->empty_count, std::greater<>());
  return empty[--listeners->empty_count];
}

void EmptySlot(NodeListeners* listeners, uint32_t slot) {
  uint32_t* const empty = listeners->empty_slots;
  listeners->slots[slot] = nullptr;
  empty[listeners->empty_count++] = slot;
  std::push_heap(empty, empty + listeners->empty_count, std::greater<>());
}

}  // namespace

NodeListeners* FindListeners(const DOM_Node* node) {
  return nodes_with_listeners.Find(
      HashOfAddress(node), [&](const NodeListeners& listeners) { return listeners.node == node; });
}

void FreeListenersOf(const DOM_Node* node) {
  NodeListeners* const listeners = FindListeners(node);
  nodes_with_listeners.Remove(listeners);
  if (nodes_with_listeners.count() == 0) {
    nodes_with_listeners.Clear();
  }
  for (uint32_t i = 0; i < listeners->count; ++i) {
    if (const OwnedListener entry{listeners->slots[i]}) {
      registered_listeners.Remove(entry->event_type);
    }
  }
  listeners->index.Clear();
  std::free(static_cast<void*>(listeners->slots));
  std::free(listeners->empty_slots);
  std::free(listeners);
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
  const ListenerKey key{type, listener, handler, use_capture != 0 ? 1U : 0U};
  if (FindListener(ListenersOf(node), key) != nullptr) {
    return;
  }
  OwnedListener entry = NewListener(key);
  NodeListeners* const listeners = entry == nullptr ? nullptr : MakeListeners(node);
  if (listeners == nullptr || !MakeRoom(listeners)) {
    FailErrno({kModule, __func__});
    return;
  }
  ListenerRecord* const added = entry.release();
  added->slot = TakeSlot(listeners);
  listeners->slots[added->slot] = added;
  listeners->index.Insert(added);
  listeners->counts.Add(added->event_type);
  registered_listeners.Add(added->event_type);
}

void DOM_EventTarget_removeEventListener(DOM_Node* node, const DOM_String* type,
                                         DOM_EventListener* listener, DOM_EventHandler handler,
                                         int use_capture) {
  if (node == nullptr || type == nullptr || handler == nullptr) {
    Fail({kModule, __func__}, kNullParameter);
    return;
  }
  NodeListeners* const listeners = ListenersOf(node);
  const OwnedListener removed(
      FindListener(listeners, {type, listener, handler, use_capture != 0 ? 1U : 0U}));
  if (removed != nullptr) {
    listeners->index.Remove(removed.get());
    EmptySlot(listeners, removed->slot);
    listeners->counts.Remove(removed->event_type);
    registered_listeners.Remove(removed->event_type);
  }
}

uint32_t DOM_EventTarget_listenerCount(const DOM_Node* node) {
  const NodeListeners* const listeners = node != nullptr ? ListenersOf(node) : nullptr;
  return listeners != nullptr ? listeners->count : 0;
}

const DOM_ListenerEntry* DOM_EventTarget_listener(const DOM_Node* node, uint32_t slot) {
  return slot < DOM_EventTarget_listenerCount(node) ? ListenersOf(node)->slots[slot] : nullptr;
}
