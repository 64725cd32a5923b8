#include "dom/listeners.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "dom/failure.h"
#include "dom/node_array.h"
#include "support/mbs.h"
#include "support/trace_modules.h"

namespace qvx::dom {

size_t registered_listeners = 0;

namespace {

constexpr const char* kModule = qvx::trace_modules::kEvents;

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

/// An empty slot, a new one when all are taken; null with errno set when memory ran out.
DOM_ListenerEntry** EmptySlot(DOM_Node* node) {
  for (uint32_t i = 0; i < node->listenerCount; ++i) {
    if (node->listeners[i] == nullptr) {
      return &node->listeners[i];
    }
  }
  DOM_ListenerEntry** const grown = ResizeArray(node->listeners, size_t{node->listenerCount} + 1);
  if (grown == nullptr) {
    return nullptr;
  }
  node->listeners = grown;
  DOM_ListenerEntry** const slot = &node->listeners[node->listenerCount++];
  *slot = nullptr;
  return slot;
}

}  // namespace

void FreeListeners(DOM_Node* node) {
  for (uint32_t i = 0; i < node->listenerCount; ++i) {
    if (node->listeners[i] != nullptr) {
      FreeListener(node->listeners[i]);
      --registered_listeners;
    }
  }
  std::free(node->listeners);
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
  DOM_ListenerEntry** const slot = entry == nullptr ? nullptr : EmptySlot(node);
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
