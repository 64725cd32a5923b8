// The four tree changes.
//
// A handler of an event may change the tree while an operation is under way. So after each
// announcement the operation looks at the tree again. A node that a handler has moved is left where
// the handler put it, and the rules are asked once more before a node is linked. A destroyed node
// counts as a moved one (destruction.h).
#include "dom/mutation.h"

#include "dom/announcements.h"
#include "dom/children.h"
#include "dom/common_parent.h"
#include "dom/destruction.h"
#include "dom/document_references.h"
#include "dom/failure.h"
#include "support/trace_modules.h"

using namespace qvx::dom;

namespace {

constexpr const char* kModule = qvx::trace_modules::kNode;
constexpr char kAppendChild[] = "DOM_Node_appendChild";
constexpr char kInsertBefore[] = "DOM_Node_insertBefore";

bool BelongsTo(const DOM_Node* parent, const DOM_Node* child) {
  return child->ownerDocument == parent->ownerDocument || child->ownerDocument == parent;
}

bool MayBeAppendedTo(const DOM_Node* parent, const DOM_Node* child) {
  return child->ownerDocument == parent->ownerDocument || parent->nodeType == DOM_DOCUMENT_NODE ||
         child->nodeType == DOM_DOCUMENT_TYPE_NODE;
}

bool IsFragment(const DOM_Node* node) {
  return node->nodeType == DOM_DOCUMENT_FRAGMENT_NODE;
}

/// A fragment cannot give its children to itself, not even when it has none.
bool MayHoldChildrenOf(const DOM_Node* parent, const DOM_Node* fragment) {
  if (parent == fragment) {
    return false;
  }
  for (const DOM_Node* child = fragment->firstChild; child != nullptr; child = child->nextSibling) {
    if (!MayHold(parent, child)) {
      return false;
    }
  }
  return true;
}

/// Removes `child`, events included. Returns false when it is no child of `parent`, before or after
/// the events.
bool Remove(DOM_Node* parent, DOM_Node* child) {
  if (child->parentNode != parent) {
    return false;
  }
  AnnounceRemoval(parent, child);
  if (child->parentNode != parent) {
    return false;
  }
  const bool was_field_of_document =
      parent->nodeType == DOM_DOCUMENT_NODE &&
      (child->nodeType == DOM_ELEMENT_NODE || child->nodeType == DOM_DOCUMENT_TYPE_NODE);
  UnlinkChild(child);
  if (!was_field_of_document) {
    NoteChange(parent);
  }
  return true;
}

/// Whether `node` is in no chain and may still become a child of `parent`.
bool IsReady(const DOM_Node* parent, const DOM_Node* node, const DOM_Node* replaced = nullptr) {
  return node->parentNode == nullptr && MayHold(parent, node, replaced);
}

/// Checks the rules for `node` under `parent` and takes it out of its old place.
bool MakeReady(const char* function, DOM_Node* parent, DOM_Node* node,
               const DOM_Node* replaced = nullptr) {
  bool ready = MayHold(parent, node, replaced);
  if (ready && node->parentNode != nullptr) {
    TakeBack(node);
  }
  if (ready && node->parentNode != nullptr) {
    const bool may_change_meanwhile = MayBeHeard();
    Remove(node->parentNode, node);
    ready = !may_change_meanwhile || IsReady(parent, node, replaced);
  }
  if (!ready) {
    Fail({kModule, function}, DOM_HIERARCHY_REQUEST_ERR);
  }
  return ready;
}

DOM_Node* Insert(const char* function, DOM_Node* parent, DOM_Node* node, DOM_Node* reference) {
  if (!MakeReady(function, parent, node)) {
    return nullptr;
  }
  if (reference != nullptr && reference->parentNode != parent) {
    Fail({kModule, function}, DOM_NOT_FOUND_ERR);
    return nullptr;
  }
  LinkChild(parent, node, reference);
  AnnounceInsertion(parent, node);
  NoteChange(parent);
  return node;
}

void DestroyUnplaced(DOM_Node* parent, DOM_Node* child) {
  if (child->parentNode == nullptr) {
    DOM_Document_destroyNode(parent->nodeType == DOM_DOCUMENT_NODE ? parent : parent->ownerDocument,
                             child);
  }
}

/// Moves the children of `fragment`, if `parent` may hold all of them, one by one to the place that
/// `put` gives them. Returns false, recorded, when it may not, or when a child does not get there;
/// that one is destroyed. Only as many are moved as there are now, so a handler that feeds the
/// fragment cannot keep this going.
template <typename Put>
bool MoveChildren(const char* function, DOM_Node* parent, DOM_Node* fragment, Put put) {
  if (!MayHoldChildrenOf(parent, fragment)) {
    Fail({kModule, function}, DOM_HIERARCHY_REQUEST_ERR);
    return false;
  }
  for (uint32_t left = fragment->childNodes->length; left > 0 && fragment->firstChild != nullptr;
       --left) {
    DOM_Node* const child = fragment->firstChild;
    if (!Remove(fragment, child)) {
      return false;
    }
    if (put(child) == nullptr) {
      DestroyUnplaced(parent, child);
      qvx::TracePropagation({kModule, function});
      return false;
    }
  }
  return true;
}

DOM_Node* Append(DOM_Node* parent, DOM_Node* new_child) {
  if (parent == nullptr || new_child == nullptr) {
    Fail({kModule, kAppendChild}, kNullParameter);
    return nullptr;
  }
  if (!MayBeAppendedTo(parent, new_child)) {
    Fail({kModule, kAppendChild}, DOM_WRONG_DOCUMENT_ERR);
    return nullptr;
  }
  if (!IsFragment(new_child)) {
    return Insert(kAppendChild, parent, new_child, nullptr);
  }
  const bool moved = MoveChildren(kAppendChild, parent, new_child,
                                  [&](DOM_Node* child) { return Append(parent, child); });
  return moved ? new_child : nullptr;
}

DOM_Node* ReplaceByNode(const char* function, DOM_Node* parent, DOM_Node* node, DOM_Node* old) {
  if (!MakeReady(function, parent, node, old) || old->parentNode != parent) {
    return nullptr;
  }
  const bool may_change_meanwhile = MayBeHeard();
  AnnounceRemoval(parent, old);
  if (old->parentNode != parent) {
    return nullptr;
  }
  if (may_change_meanwhile && !IsReady(parent, node, old)) {
    Fail({kModule, function}, DOM_HIERARCHY_REQUEST_ERR);
    return nullptr;
  }
  DOM_Node* const next = old->nextSibling;
  DOM_Document* const owner = old->ownerDocument;
  UnlinkChild(old);
  if (old->nodeType == DOM_DOCUMENT_TYPE_NODE) {
    old->ownerDocument = owner;  // only a removal makes it nobody's
  }
  LinkChild(parent, node, next);
  AnnounceInsertion(parent, node);
  NoteChange(parent);
  return old;
}

DOM_Node* ReplaceByChildrenOf(const char* function, DOM_Node* parent, DOM_Node* fragment,
                              DOM_Node* old) {
  const bool moved = MoveChildren(function, parent, fragment, [&](DOM_Node* child) {
    return InsertBefore(parent, child, old);
  });
  return moved && Remove(parent, old) ? old : nullptr;
}

}  // namespace

DOM_Node* qvx::dom::InsertBefore(DOM_Node* parent, DOM_Node* new_child, DOM_Node* reference) {
  if (parent == nullptr || new_child == nullptr) {
    Fail({kModule, kInsertBefore}, kNullParameter);
    return nullptr;
  }
  if (!BelongsTo(parent, new_child)) {
    Fail({kModule, kInsertBefore}, DOM_WRONG_DOCUMENT_ERR);
    return nullptr;
  }
  if (reference != nullptr && reference->parentNode != parent) {
    Fail({kModule, kInsertBefore}, DOM_HIERARCHY_REQUEST_ERR);
    return nullptr;
  }
  if (!IsFragment(new_child)) {
    return Insert(kInsertBefore, parent, new_child, reference);
  }
  const bool moved = MoveChildren(kInsertBefore, parent, new_child, [&](DOM_Node* child) {
    return InsertBefore(parent, child, reference);
  });
  return moved ? new_child : nullptr;
}

DOM_Node* DOM_Node_appendChild(DOM_Node* parent, DOM_Node* new_child) {
  const Operation operation;
  return Placed({kModule, kAppendChild}, Append(parent, new_child));
}

DOM_Node* DOM_Node_insertBefore(DOM_Node* parent, DOM_Node* new_child, DOM_Node* reference) {
  const Operation operation;
  return Placed({kModule, kInsertBefore}, InsertBefore(parent, new_child, reference));
}

DOM_Node* DOM_Node_replaceChild(DOM_Node* parent, DOM_Node* new_child, DOM_Node* old_child) {
  if (parent == nullptr || new_child == nullptr || old_child == nullptr) {
    Fail({kModule, __func__}, kNullParameter);
    return nullptr;
  }
  if (!BelongsTo(parent, new_child)) {
    Fail({kModule, __func__}, DOM_WRONG_DOCUMENT_ERR);
    return nullptr;
  }
  if (old_child->parentNode != parent) {
    Fail({kModule, __func__}, DOM_NOT_FOUND_ERR);
    return nullptr;
  }
  const Operation operation;
  const bool is_callers = new_child->parentNode == nullptr;
  const auto replace = IsFragment(new_child) ? ReplaceByChildrenOf : ReplaceByNode;
  DOM_Node* const replaced = replace(__func__, parent, new_child, old_child);
  if (replaced == nullptr && is_callers) {
    Released(new_child);  // and stays so
  }
  return Released(replaced);
}

DOM_Node* DOM_Node_removeChild(DOM_Node* parent, DOM_Node* old_child) {
  if (parent == nullptr || old_child == nullptr) {
    Fail({kModule, __func__}, kNullParameter);
    return nullptr;
  }
  if (!BelongsTo(parent, old_child)) {
    Fail({kModule, __func__}, DOM_WRONG_DOCUMENT_ERR);
    return nullptr;
  }
  const Operation operation;
  if (!Remove(parent, old_child)) {
    Fail({kModule, __func__}, DOM_NOT_FOUND_ERR);
    return nullptr;
  }
  return old_child;
}
