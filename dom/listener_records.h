// What is kept of listeners. Internal to the document model.
#ifndef QVX_DOM_LISTENER_RECORDS_H
#define QVX_DOM_LISTENER_RECORDS_H

#include <cstddef>
#include <memory>
#include <set>
#include <unordered_map>
#include <vector>

#include "dom/dom.h"
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

}  // namespace qvx::dom

#endif
