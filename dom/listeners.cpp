#include "dom/listeners.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "dom/failure.h"
#include "dom/hash_index.h"
#include "dom/node_array.h"
#include "support/mbs.h"
#include "support/trace_modules.h"

namespace qvx::dom {

size_t registered_listeners = 0;

namespace {

constexpr const char* kModule = qvx::trace_modules::kEvents;

size_t HashOf(const NodeListeners& listeners) {
  return HashOfAddress(listeners.node);
}

HashIndex<NodeListeners, HashOf> nodes_with_listeners;

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
DOM_ListenerEntry** FindSlot(const DOM_Node* node, const ListenerKey& key) {
  const NodeListeners* const listeners = ListenersOf(node);
  for (uint32_t i = 0; listeners != nullptr && i < listeners->count; ++i) {
    if (key.Matches(listeners->slots[i])) {
      return &listeners->slots[i];
    }
  }
  return nullptr;
}

void FreeListener(DOM_ListenerEntry* entry) {
  std::free(entry->type);
  std::free(entry);
}

struct ListenerDeleter {
  void operator()(DOM_ListenerEntry* entry) const { FreeListener(entry); }
};
using OwnedListener = std::unique_ptr<DOM_ListenerEntry, ListenerDeleter>;

/// A listener record; null with errno set when it cannot be made.
OwnedListener NewListener(const ListenerKey& key) {
  OwnedListener entry(static_cast<DOM_ListenerEntry*>(std::calloc(1, sizeof(DOM_ListenerEntry))));
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

/// An empty slot, a new one when all are taken; null with errno set when memory ran out.
DOM_ListenerEntry** EmptySlot(NodeListeners* listeners) {
  for (uint32_t i = 0; i < listeners->count; ++i) {
    if (listeners->slots[i] == nullptr) {
      return &listeners->slots[i];
    }
  }
  DOM_ListenerEntry** const grown = ResizeArray(listeners->slots, size_t{listeners->count} + 1);
  if (grown == nullptr) {
    return nullptr;
  }
  listeners->slots = grown;
  DOM_ListenerEntry** const slot = &grown[listeners->count++];
  *slot = nullptr;
  return slot;
}

}  // namespace

NodeListeners* FindListeners(const DOM_Node* node) {
  return nodes_with_listeners.Find(
      HashOfAddress(node), [&](const NodeListeners& listeners) { return listeners.node == node; });
}

void FreeListenersOf(const DOM_Node* node) {
  NodeListeners* const listeners = FindListeners(node);
  for (uint32_t i = 0; i < listeners->count; ++i) {
    if (listeners->slots[i] != nullptr) {
      FreeListener(listeners->slots[i]);
      --registered_listeners;
    }
  }
  nodes_with_listeners.Remove(listeners);
  std::free(listeners->slots);
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
  if (FindSlot(node, key) != nullptr) {
    return;
  }
  OwnedListener entry = NewListener(key);
  NodeListeners* const listeners = entry == nullptr ? nullptr : MakeListeners(node);
  DOM_ListenerEntry** const slot = listeners == nullptr ? nullptr : EmptySlot(listeners);
  if (slot == nullptr) {
    FailErrno({kModule, __func__});
    return;
  }
  *slot = entry.release();
  ++registered_listeners;
}

void DOM_EventTarget_removeEventListener(DOM_Node* node, const DOM_String* type,
                                         DOM_EventListener* listener, DOM_EventHandler handler,
                                         int use_capture) {
  if (node == nullptr || type == nullptr || handler == nullptr) {
    Fail({kModule, __func__}, kNullParameter);
    return;
  }
  DOM_ListenerEntry** const slot =
      FindSlot(node, {type, listener, handler, use_capture != 0 ? 1U : 0U});
  if (slot != nullptr) {
    FreeListener(std::exchange(*slot, nullptr));
    --registered_listeners;
  }
}

uint32_t DOM_EventTarget_listenerCount(const DOM_Node* node) {
  const NodeListeners* const listeners = node != nullptr ? ListenersOf(node) : nullptr;
  return listeners != nullptr ? listeners->count : 0;
}

const DOM_ListenerEntry* DOM_EventTarget_listener(const DOM_Node* node, uint32_t slot) {
  return slot < DOM_EventTarget_listenerCount(node) ? ListenersOf(node)->slots[slot] : nullptr;
}
