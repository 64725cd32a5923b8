// What the document model keeps for the whole process. Internal to the document model.
//
// The model serves one thread, so nothing here is guarded. It is not kept in documents, because
// nodes and lists outlive their documents and go over to others, and because the same operations
// serve all of them. The memory of nodes is that of support/block_pages.h, the error cell that of
// support/msgno.h.
#ifndef QVX_DOM_MODEL_STATE_H
#define QVX_DOM_MODEL_STATE_H

#include <string_view>
#include <unordered_map>

#include "dom/listener_records.h"
#include "dom/node_records.h"

namespace qvx::dom {

/// A child or an attribute, and its index in its list.
struct Place {
  ListRecord* list;  ///< null: nobody's
  DOM_Node* node;
  uint32_t index;
};

/// The last look-ups by index (places.h).
struct RememberedPlaces {
  Place all[8];
  size_t next_taken;  ///< by a list that has none
};

/// The attributes of one element by their names (attribute_maps.h).
struct AttributeIndex {
  std::unordered_map<std::string_view, AttributeNode*> by_name;
  bool is_void = false;  ///< some names are equal or null
};

/// Of the last load, whose document may be gone.
struct LoadFailure {
  bool ran_out_of_memory = false;
  LoadFault fault = {"", 0, 0};
};

struct ModelState {
  /// So few, because a list that was read would otherwise need one of its own for good.
  RememberedPlaces places;

  /// Few elements have so many attributes. The others would pay for a pointer.
  std::unordered_map<const ElementNode*, AttributeIndex> attribute_indexes;

  /// Few nodes have listeners.
  std::unordered_map<const DOM_Node*, NodeListeners> listeners;

  /// Of all nodes. An operation asks here, and not its document, whether anybody could hear of it:
  /// it may touch nodes of several documents.
  ListenerCounts registered_listeners;

  /// All documents by what each names as its commonParent. A node that is freed has to find those
  /// of others, too (common_parent.h).
  std::unordered_multimap<const void*, DocumentNode*> documents;

  /// The depth of nested operations that handlers may hear of, of whatever documents
  /// (destruction.h).
  size_t operations_under_way;

  /// The parent of the nodes that wait for their end, of whatever documents (destruction.h).
  ParentNode waiting_nodes;

  LoadFailure load_failure;
};

/// Never destroyed, because documents of a program may be destroyed later.
union ModelStateHolder {
  ModelStateHolder() : state() {}
  ~ModelStateHolder() {}
  ModelStateHolder(const ModelStateHolder&) = delete;
  ModelStateHolder& operator=(const ModelStateHolder&) = delete;
  ModelStateHolder(ModelStateHolder&&) = delete;
  ModelStateHolder& operator=(ModelStateHolder&&) = delete;

  ModelState state;
};
extern ModelStateHolder model_state_holder;

inline ModelState& Model() {
  return model_state_holder.state;
}

}  // namespace qvx::dom

#endif
