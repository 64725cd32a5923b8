// The listeners of nodes. Internal to the document model; dom.h declares the public operations.
//
// A node keeps an array of slots, each empty or a listener. Slots are never given up, only reused,
// so a handler may add and remove listeners, its own included, while a dispatch walks over them.
// Few nodes ever have listeners, so the arrays are found by way of a table of the process, and a
// node holds only a bit that tells whether it has one.
#ifndef QVX_DOM_LISTENERS_H
#define QVX_DOM_LISTENERS_H

#include <cstddef>

#include "dom/hash_index.h"
#include "dom/node_records.h"

namespace qvx::dom {

/// The types of the events that operations announce, and all others together.
enum EventType : uint8_t {
  kNodeInserted,
  kNodeInsertedIntoDocument,
  kNodeRemoved,
  kNodeRemovedFromDocument,
  kAttrModified,
  kCharacterDataModified,
  kSubtreeModified,
  kOtherType
};

/// The names of the types.
extern const DOM_String* const event_type_names[kOtherType];

/// The number of listeners of each type.
struct ListenerCounts {
  size_t all;
  size_t of_type[kOtherType + 1];

  void Add(EventType type) {
    ++all;
    ++of_type[type];
  }
  void Remove(EventType type) {
    --all;
    --of_type[type];
  }
};

/// The listeners of all nodes of the process.
extern ListenerCounts registered_listeners;

/// Whether there is a listener anywhere. The launcher never registers one, so it pays for no event.
/// An operation asks before its first event, because a handler may remove the last listener.
inline bool MayBeHeard() {
  return registered_listeners.all != 0;
}

/// Whether there is a listener of `type` anywhere.
inline bool MayBeHeard(EventType type) {
  return registered_listeners.of_type[type] != 0;
}

struct ListenerRecord : DOM_ListenerEntry {
  size_t hash;
  uint32_t slot;
  EventType event_type;
};

inline size_t HashOfListener(const ListenerRecord& listener) {
  return listener.hash;
}

/// The listeners of a node that has or had some.
struct NodeListeners {
  const DOM_Node* node;
  ListenerRecord** slots;
  uint32_t* empty_slots;  ///< a heap whose front is the first of them
  uint32_t count;         ///< of slots
  uint32_t room;          ///< of both arrays
  uint32_t empty_count;
  ListenerCounts counts;
  HashIndex<ListenerRecord, HashOfListener> index;
};

inline bool HasListeners(const DOM_Node* node) {
  return static_cast<const NodeRecord*>(node)->has_listeners != 0;
}

/// The listeners of `node`, until it is freed; null when it never had one.
NodeListeners* FindListeners(const DOM_Node* node);
inline NodeListeners* ListenersOf(const DOM_Node* node) {
  return HasListeners(node) ? FindListeners(node) : nullptr;
}

/// Frees the listeners of `node`, which is about to be freed, and their array.
void FreeListenersOf(const DOM_Node* node);
inline void FreeListeners(const DOM_Node* node) {
  if (HasListeners(node)) {
    FreeListenersOf(node);
  }
}

}  // namespace qvx::dom

#endif
