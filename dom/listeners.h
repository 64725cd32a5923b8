// The listeners of nodes. Internal to the document model; dom.h declares the public operations.
//
// A node keeps an array of slots, each empty or a listener. Slots are never given up, only reused,
// so a handler may add and remove listeners, its own included, while a dispatch walks over them.
// Few nodes ever have listeners, so the arrays are found by way of a table of the process, and a
// node holds only a bit that tells whether it has one.
#ifndef QVX_DOM_LISTENERS_H
#define QVX_DOM_LISTENERS_H

#include <cstddef>
#include <memory>
#include <set>
#include <unordered_map>
#include <vector>

#include "dom/node_records.h"
#include "support/malloc_owner.h"

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
  ListenerRecord(const DOM_ListenerEntry& key, MallocOwner<DOM_String> type_copy);
  MallocOwner<DOM_String> owned_type;
  EventType event_type;
};

/// What tells one listener of a node from another is all that its entry holds.
struct ListenerHash {
  size_t operator()(const DOM_ListenerEntry* entry) const;
};
struct ListenerEqual {
  bool operator()(const DOM_ListenerEntry* one, const DOM_ListenerEntry* other) const;
};

/// The listeners of a node that has or had some.
struct NodeListeners {
  std::vector<std::unique_ptr<ListenerRecord>> slots;
  std::set<uint32_t> empty_slots;
  std::unordered_map<const DOM_ListenerEntry*, uint32_t, ListenerHash, ListenerEqual> slot_of;
  ListenerCounts counts = {};
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
