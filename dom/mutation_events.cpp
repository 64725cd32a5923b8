#include "dom/mutation_events.h"

#include <cstring>

#include "dom/failure.h"
#include "dom/node_array.h"
#include "dom/node_record.h"
#include "dom/tree.h"

namespace qvx::dom {

size_t registered_listeners = 0;

namespace {

constexpr const char* kSource = "src/events.cpp";

/// An event that memory ran out for is not dispatched.
void RecordLostEvent() {
  FailErrno(TraceSite(kSource, "DOM_EventTarget_dispatchEvent"));
}

enum class Bubbling { kNo, kYes };

struct Details {
  DOM_Node* related = nullptr;
  const DOM_String* previous = nullptr;
  const DOM_String* current = nullptr;
  const DOM_String* name = nullptr;
  uint16_t change = 0;
};

void Dispatch(DOM_Node* target, const DOM_String* type, Bubbling bubbling,
              const Details& details = {}) {
  DOM_MutationEvent event{};
  DOM_MutationEvent_initMutationEvent(&event, type, bubbling == Bubbling::kYes ? 1 : 0, 0,
                                      details.related, details.previous, details.current,
                                      details.name, details.change);
  DOM_EventTarget_dispatchEvent(target, &event);
}

/// The two orders in which a subtree is told of its fate.
struct Preorder {
  static DOM_Node* First(DOM_Node* root) { return root; }
  static DOM_Node* Next(const DOM_Node* root, DOM_Node* node) { return NextInPreorder(root, node); }
};
struct Postorder {
  static DOM_Node* First(DOM_Node* root) { return FirstInPostorder(root); }
  static DOM_Node* Next(const DOM_Node* root, DOM_Node* node) {
    return NextInPostorder(root, node);
  }
};

/// Dispatches an event of `type` to every node of the subtree. The nodes are gathered first, so
/// that handlers may change the tree: a node that has left the subtree when its turn comes was
/// announced by the operation that took it out, and one that came into it by the one that put it
/// in.
template <typename Order>
void DispatchToSubtree(DOM_Node* root, const DOM_String* type) {
  size_t count = 0;
  for (DOM_Node* node = Order::First(root); node != nullptr; node = Order::Next(root, node)) {
    ++count;
  }
  const MallocArray<DOM_Node*> nodes = NewArray<DOM_Node*>(count);
  if (nodes == nullptr) {
    return RecordLostEvent();
  }
  size_t gathered = 0;
  for (DOM_Node* node = Order::First(root); node != nullptr; node = Order::Next(root, node)) {
    nodes[gathered++] = node;
  }
  for (size_t i = 0; i < count; ++i) {
    if (IsWithin(root, nodes[i])) {
      Dispatch(nodes[i], type, Bubbling::kNo);
    }
  }
}

/// A text of an event, copied because a handler may change the original.
class EventText {
 public:
  explicit EventText(const DOM_String* text)
      : copy_(text == nullptr ? nullptr : strdup(text)),
        lost_(text != nullptr && copy_ == nullptr) {}
  const DOM_String* get() const { return copy_.get(); }
  bool lost() const { return lost_; }

 private:
  MallocOwner<DOM_String> copy_;
  bool lost_;
};

void DispatchAttribute(DOM_Element* element, DOM_Attr* attribute, const EventText& previous,
                       const EventText& current, uint16_t change) {
  const EventText name(attribute->nodeName);
  if (previous.lost() || current.lost() || name.lost()) {
    return RecordLostEvent();
  }
  Dispatch(element, "DOMAttrModified", Bubbling::kYes,
           {attribute, previous.get(), current.get(), name.get(), change});
}

/// The next node in preorder whose flag and whose ancestors' flags below `root` are set.
DOM_Node* NextFlagged(const DOM_Node* root, const DOM_Node* node) {
  for (DOM_Node* child = node->firstChild; child != nullptr; child = child->nextSibling) {
    if (child->subtreeModified != 0) {
      return child;
    }
  }
  for (; node != root; node = node->parentNode) {
    for (DOM_Node* sibling = node->nextSibling; sibling != nullptr;
         sibling = sibling->nextSibling) {
      if (sibling->subtreeModified != 0) {
        return sibling;
      }
    }
  }
  return nullptr;
}

/// Whether the bookkeeping of `document` can leave a note on `node`: not on one that belongs to
/// another document, nor on a document type, which may go over to another one.
bool TakesNotes(const DOM_Node* node, const DOM_Document* document) {
  return node->childNodes != nullptr && node->nodeType != DOM_DOCUMENT_TYPE_NODE &&
         (node->ownerDocument == document || node == document);
}

/// Whether an earlier walk went from `node` up to the present common parent, so that another one
/// would change nothing.
bool LeadsToCommonParent(const DOM_Node* node, DOM_Document* document) {
  return node->subtreeModified != 0 && TakesNotes(node, document) &&
         node->childNodes->path_mark == DOM_DocumentPart(document).path_mark;
}

/// Only whole paths are marked: where a node takes no notes, ForgetPath would not see the path
/// break.
void MarkPath(DOM_Node* from, const DOM_Node* to, DOM_Document* document) {
  for (const DOM_Node* node = from; node != to; node = node->parentNode) {
    if (!TakesNotes(node, document)) {
      return;
    }
  }
  for (; from != to; from = from->parentNode) {
    from->childNodes->path_mark = DOM_DocumentPart(document).path_mark;
  }
}

void SetCommonParent(DOM_Document* document, DOM_Node* node) {
  DOM_DocumentPart(document).commonParent = node;
  ++DOM_DocumentPart(document).path_mark;
  if (node != nullptr && node->childNodes != nullptr) {
    node->childNodes->has_been_common_parent = true;
  }
}

}  // namespace

void ForgetPath(DOM_Node* node) {
  DOM_Document* const document = node->ownerDocument;
  if (document != nullptr && LeadsToCommonParent(node, document)) {
    ++DOM_DocumentPart(document).path_mark;
  }
}

void ForgetCommonParent(const DOM_Node* node) {
  if (node->childNodes == nullptr || !node->childNodes->has_been_common_parent) {
    return;
  }
  for (DocumentNode* document = live_documents; document != nullptr;
       document = document->next_live) {
    if (document->commonParent == node) {
      document->commonParent = nullptr;
    }
  }
}

void AnnounceInsertion(DOM_Node* parent, DOM_Node* node) {
  if (!MayBeHeard()) {
    return;
  }
  Dispatch(node, "DOMNodeInserted", Bubbling::kYes, {.related = parent});
  DispatchToSubtree<Preorder>(node, "DOMNodeInsertedIntoDocument");
}

void AnnounceRemoval(DOM_Node* parent, DOM_Node* node) {
  if (!MayBeHeard()) {
    return;
  }
  Dispatch(node, "DOMNodeRemoved", Bubbling::kYes, {.related = parent});
  DispatchToSubtree<Postorder>(node, "DOMNodeRemovedFromDocument");
}

void AnnounceAttribute(DOM_Element* element, DOM_Attr* attribute, uint16_t change) {
  if (!MayBeHeard()) {
    return;
  }
  const bool added = change == DOM_ATTR_ADDITION;
  const EventText previous(added ? nullptr : attribute->nodeValue);
  const EventText current(added ? attribute->nodeValue : nullptr);
  DispatchAttribute(element, attribute, previous, current, change);
}

void AnnounceAttributeValue(DOM_Element* element, DOM_Attr* attribute, DOM_String* previous) {
  if (!MayBeHeard()) {
    return FreeText(attribute, previous);
  }
  const EventText previous_copy(previous);
  const EventText current_copy(attribute->nodeValue);
  FreeText(attribute, previous);
  DispatchAttribute(element, attribute, previous_copy, current_copy, DOM_ATTR_MODIFICATION);
}

void AnnounceData(DOM_CharacterData* node, DOM_String* previous) {
  if (!MayBeHeard()) {
    return FreeText(node, previous);
  }
  const EventText previous_copy(previous);
  const EventText current_copy(node->nodeValue);
  FreeText(node, previous);
  if (previous_copy.lost() || current_copy.lost()) {
    return RecordLostEvent();
  }
  Dispatch(node, "DOMCharacterDataModified", Bubbling::kYes,
           {.previous = previous_copy.get(), .current = current_copy.get()});
}

}  // namespace qvx::dom

// Each change below a node that a walk has come by ends at that node's mark, so a tree of any depth
// is built at a constant cost for each node. A mark is a number: it stands for the present common
// parent and the present tree, and all marks are void when the document's number moves on.
void updateCommonParent(DOM_Node* node) {
  if (node == nullptr || node->ownerDocument == nullptr) {
    return;
  }
  DOM_Document* const document = node->ownerDocument;
  const DOM_Node* const common_parent = DOM_DocumentPart(document).commonParent;
  if (common_parent == nullptr) {
    return qvx::dom::SetCommonParent(document, node);
  }
  DOM_Node* flagged_already = nullptr;
  for (DOM_Node* at = node; at != nullptr; at = at->parentNode) {
    if (at == common_parent || qvx::dom::LeadsToCommonParent(at, document)) {
      return qvx::dom::MarkPath(node, at, document);
    }
    if (at->subtreeModified == 0) {
      at->subtreeModified = 1;
    } else if (flagged_already == nullptr) {
      flagged_already = at;
    }
  }
  qvx::dom::SetCommonParent(document, flagged_already);
}

void DOM_MutationEvent_processSubtreeModified(DOM_Document* document) {
  if (document == nullptr || document->nodeType != DOM_DOCUMENT_NODE) {
    return;
  }
  DOM_DocumentFields& fields = DOM_DocumentPart(document);
  DOM_Node* const common_parent = fields.commonParent;
  if (common_parent == nullptr) {
    return;
  }
  document->subtreeModified = 0;
  for (DOM_Node* node = qvx::dom::NextFlagged(document, document); node != nullptr;
       node = qvx::dom::NextFlagged(document, node)) {
    node->subtreeModified = 0;
  }
  qvx::dom::SetCommonParent(document, nullptr);
  if (qvx::dom::MayBeHeard()) {
    qvx::dom::Dispatch(common_parent, "DOMSubtreeModified", qvx::dom::Bubbling::kYes);
  }
}
