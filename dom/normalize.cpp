// The merging of neighbouring texts (DOM Level 2 Core, Node.normalize).
#include <algorithm>
#include <cstdlib>

#include "dom/character_data.h"
#include "dom/children.h"
#include "dom/destruction.h"
#include "dom/dom.h"
#include "dom/failure.h"
#include "dom/listeners.h"
#include "dom/node_memory.h"
#include "dom/walks.h"
#include "support/trace_modules.h"

using namespace qvx::dom;
using qvx::TracePropagation;

namespace {

constexpr const char* kModule = qvx::trace_modules::kDom;

bool IsText(const DOM_Node* node) {
  return node != nullptr && node->nodeType == DOM_TEXT_NODE;
}

/// The last of the texts that follow each other from `first` on.
DOM_Text* EndOfRun(DOM_Text* first) {
  while (IsText(first->nextSibling)) {
    first = first->nextSibling;
  }
  return first;
}

/// Whether one of the texts from `first` on, in front of `last`, has a value.
bool HasValueBefore(const DOM_Text* first, const DOM_Text* last) {
  while (first != last && first->nodeValue == nullptr) {
    first = first->nextSibling;
  }
  return first != last;
}

/// The data of the texts from `first` to `last` with the length of it all; null, recorded, when
/// memory ran out.
DOM_String* JoinRun(DOM_Text* first, const DOM_Text* last, uint32_t& length) {
  const DOM_Node* const end = last->nextSibling;
  size_t size = 1;
  length = 0;
  for (DOM_Text* text = first; text != end; text = text->nextSibling) {
    size += DataOf(text).size();
    length += DOM_CharacterDataPart(text).length;
  }
  auto* joined = static_cast<DOM_String*>(std::malloc(size));
  if (joined == nullptr) {
    FailErrno({kModule, "DOM_CharacterData_insertData"});
    return nullptr;
  }
  char* at = joined;
  for (DOM_Text* text = first; text != end; text = text->nextSibling) {
    const std::string_view data = DataOf(text);
    at = std::copy(data.begin(), data.end(), at);
  }
  *at = '\0';
  return joined;
}

/// Merges the texts from `first` on into their last one, all at once: nobody is told. Returns the
/// text that the walk goes on from.
DOM_Text* MergeRun(DOM_Text* first) {
  DOM_Text* const last = EndOfRun(first);
  if (last == first) {
    return first;
  }
  const bool changes_data = HasValueBefore(first, last);
  const bool is_one_change = !changes_data && first->nextSibling == last;
  uint32_t length = 0;
  DOM_String* joined = changes_data ? JoinRun(first, last, length) : nullptr;
  if (changes_data && joined == nullptr) {
    return first;
  }
  while (first != last) {
    DOM_Text* const merged = first;
    first = merged->nextSibling;
    UnlinkChild(merged);
    DOM_Document_destroyNode(merged->ownerDocument, merged);
  }
  if (changes_data) {
    FreeText(last, ExchangeValue(last, joined, length));
  }
  // Each merged text is a removal, and a change of data below the same parent if there was data.
  // From the second change on, nothing more comes of it.
  updateCommonParent(last->parentNode);
  if (!is_one_change) {
    updateCommonParent(last->parentNode);
  }
  return last;
}

/// Merges the text in front of `text`, if there is one, into it; every step is announced.
void MergePrevious(DOM_Text* text) {
  DOM_Text* const previous = text->previousSibling;
  DOM_Node* const parent = text->parentNode;
  if (!IsText(previous) || !InsertData(text, 0, previous->nodeValue)) {
    return;
  }
  // A handler may have taken it out, here or while it is removed.
  if (previous->parentNode == parent && DOM_Node_removeChild(parent, previous) != nullptr) {
    DOM_Document_destroyNode(previous->ownerDocument, previous);
  }
}

bool MergersMayBeHeard() {
  return MayBeHeard(kCharacterDataModified) || MayBeHeard(kNodeRemoved) ||
         MayBeHeard(kNodeRemovedFromDocument);
}

/// Writes a trace line for `node` and for each of its ancestors below `root`.
void TraceLevels(const DOM_Node* root, const DOM_Node* node) {
  for (; node != nullptr && node != root; node = node->parentNode) {
    TracePropagation({kModule, "DOM_Element_normalize"});
  }
}

}  // namespace

/// A preorder walk over the subtree merges at every text. The error cell is looked at after each
/// child without children; the walk leaves every other child by way of its last child. If a
/// listener could see a merger, every step is done and announced. Its event holds the whole text so
/// far, before and after.
void DOM_Element_normalize(DOM_Node* node) {
  if (node == nullptr) {
    return;
  }
  const Operation operation;
  const bool heard = MergersMayBeHeard();
  for (DOM_Node* at = NextInPreorder(node, node); at != nullptr; at = NextInPreorder(node, at)) {
    if (IsText(at) && heard) {
      MergePrevious(at);
    } else if (IsText(at) && _exception == 0) {
      at = MergeRun(at);
    }
    if (at->firstChild == nullptr && _exception != 0) {
      TraceLevels(node, at);
      return;
    }
    // A handler that takes the text out of the subtree ends the walk.
    if (heard && !IsWithin(node, at)) {
      return;
    }
  }
}
