// Character data (DOM Level 2 Core, interfaces CharacterData and Text) and the merging of
// neighbouring texts.
//
// Data is never changed in place: the new data is built in a block of its own, takes the place of
// the old, and the change is announced. Offsets count characters, the length of a node counts
// columns, as support/mbs.h tells them apart; they differ for characters that are not one column
// wide, so a length is always brought up to date by the columns that came or went.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string_view>

#include "dom/dom.h"
#include "dom/factories.h"
#include "dom/failure.h"
#include "dom/mutation_events.h"
#include "dom/node_mutation.h"
#include "dom/node_record.h"
#include "dom/operation.h"
#include "dom/tree.h"
#include "support/malloc_owner.h"
#include "support/mbs.h"

using namespace qvx::dom;
using qvx::TracePropagation;
using qvx::TraceSite;

namespace {

constexpr const char* kSource = "src/dom.cpp";

/// Whether an operation on character data can be done at `offset`; records why not.
bool CanWorkAt(const TraceSite& site, DOM_CharacterData* node, int32_t offset) {
  if (node == nullptr) {
    Fail(site, kNullParameter);
    return false;
  }
  if (!IsCharacterData(node)) {
    Fail(site, DOM_NOT_SUPPORTED_ERR);
    return false;
  }
  if (offset < 0 || static_cast<uint32_t>(offset) > DOM_CharacterDataPart(node).length) {
    Fail(site, DOM_INDEX_SIZE_ERR);
    return false;
  }
  return true;
}

std::string_view DataOf(const DOM_CharacterData* node) {
  return node->nodeValue == nullptr ? "" : node->nodeValue;
}

/// The bytes of `data`, the end of a C string, from its character `offset` on; false, recorded, if
/// it is undecodable.
bool SkipCharacters(const TraceSite& site, std::string_view& data, int32_t offset) {
  const char* at = mbsoff(data.data(), offset);
  if (at == nullptr) {
    FailErrno(site);
    return false;
  }
  data.remove_prefix(static_cast<size_t>(at - data.data()));
  return true;
}

/// The columns of a text; false, recorded, if it is undecodable.
bool CountColumns(const TraceSite& site, std::string_view text, uint32_t& columns) {
  const int count = mbsnlen(text.data(), text.size(), -1);
  if (count < 0) {
    FailErrno(site);
    return false;
  }
  columns = static_cast<uint32_t>(count);
  return true;
}

/// A text to be put into data.
struct Addition {
  std::string_view text;
  uint32_t columns;
};

/// Measures `text`; false, recorded, if it is undecodable.
bool MeasureAddition(const TraceSite& site, const DOM_String* text, Addition& addition) {
  const size_t bytes = BytesToCopy(text);
  if (bytes == 0) {
    FailErrno(site);
    return false;
  }
  addition.text = std::string_view(text, bytes - 1);
  return CountColumns(site, addition.text, addition.columns);
}

/// A new text of these pieces, from malloc; null, recorded, when memory ran out.
DOM_String* Join(const TraceSite& site, std::initializer_list<std::string_view> pieces) {
  size_t size = 1;
  for (const std::string_view piece : pieces) {
    size += piece.size();
  }
  auto* text = static_cast<DOM_String*>(std::malloc(size));
  if (text == nullptr) {
    FailErrno(site);
    return nullptr;
  }
  char* end = text;
  for (const std::string_view piece : pieces) {
    end = std::copy(piece.begin(), piece.end(), end);
  }
  *end = '\0';
  return text;
}

/// Makes `pieces` the data of `node` and announces the change; false when nothing has changed.
bool Change(const TraceSite& site, DOM_CharacterData* node,
            std::initializer_list<std::string_view> pieces, uint32_t length) {
  DOM_String* fresh = Join(site, pieces);
  if (fresh == nullptr) {
    return false;
  }
  // A handler may merge the node into its neighbour.
  DOM_Node* const parent = node->parentNode;
  AnnounceData(node, ExchangeValue(node, fresh, length));
  updateCommonParent(parent);
  return true;
}

bool Insert(DOM_CharacterData* node, int32_t offset, const DOM_String* text) {
  const TraceSite site(kSource, "DOM_CharacterData_insertData");
  if (!CanWorkAt(site, node, offset)) {
    return false;
  }
  if (text == nullptr) {
    return true;
  }
  const std::string_view data = DataOf(node);
  std::string_view tail = data;
  Addition addition{};
  return SkipCharacters(site, tail, offset) && MeasureAddition(site, text, addition) &&
         Change(site, node, {data.substr(0, data.size() - tail.size()), addition.text, tail},
                DOM_CharacterDataPart(node).length + addition.columns);
}

bool Delete(DOM_CharacterData* node, int32_t offset, int32_t count) {
  const TraceSite site(kSource, "DOM_CharacterData_deleteData");
  if (!CanWorkAt(site, node, offset)) {
    return false;
  }
  const std::string_view data = DataOf(node);
  std::string_view deleted = data;
  if (!SkipCharacters(site, deleted, offset)) {
    return false;
  }
  const std::string_view head = data.substr(0, data.size() - deleted.size());
  const uint32_t length = DOM_CharacterDataPart(node).length;
  std::string_view tail;
  if (count >= 0 && static_cast<uint32_t>(count) < length - static_cast<uint32_t>(offset)) {
    tail = deleted;
    if (!SkipCharacters(site, tail, count)) {
      return false;
    }
    deleted.remove_suffix(tail.size());
  }
  uint32_t columns = 0;
  return CountColumns(site, deleted, columns) &&
         Change(site, node, {head, tail}, length - std::min(columns, length));
}

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
    FailErrno(TraceSite(kSource, "DOM_CharacterData_insertData"));
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
  uint32_t length = 0;
  DOM_String* joined = JoinRun(first, last, length);
  if (joined == nullptr) {
    return first;
  }
  while (first != last) {
    DOM_Text* const merged = first;
    first = merged->nextSibling;
    UnlinkChild(merged);
    DOM_Document_destroyNode(merged->ownerDocument, merged);
  }
  FreeText(last, ExchangeValue(last, joined, length));
  // Each merged text is two changes below the same parent, but from the second change on nothing
  // more comes of it.
  updateCommonParent(last->parentNode);
  updateCommonParent(last->parentNode);
  return last;
}

/// Merges the text in front of `text`, if there is one, into it; every step is announced.
void MergePrevious(DOM_Text* text) {
  DOM_Text* const previous = text->previousSibling;
  DOM_Node* const parent = text->parentNode;
  if (!IsText(previous) || !Insert(text, 0, previous->nodeValue)) {
    return;
  }
  // A handler may have taken it out, here or while it is removed.
  if (previous->parentNode == parent && DOM_Node_removeChild(parent, previous) != nullptr &&
      previous->parentNode == nullptr) {
    DOM_Document_destroyNode(previous->ownerDocument, previous);
  }
}

/// What an operation gives for a node of its own making that a handler has destroyed.
DOM_Node* Lost(const TraceSite& site) {
  Fail(site, DOM_NOT_FOUND_ERR);
  return nullptr;
}

/// One line for each level from that of `node` up to that of the children of `root`.
void TraceLevels(const DOM_Node* root, const DOM_Node* node) {
  for (; node != nullptr && node != root; node = node->parentNode) {
    TracePropagation(TraceSite(kSource, "DOM_Element_normalize"));
  }
}

}  // namespace

DOM_String* DOM_CharacterData_substringData(DOM_CharacterData* node, int32_t offset,
                                            int32_t count) {
  const TraceSite site(kSource, __func__);
  if (!CanWorkAt(site, node, offset)) {
    return nullptr;
  }
  if (count < 0) {
    Fail(site, DOM_INDEX_SIZE_ERR);
    return nullptr;
  }
  std::string_view wanted = DataOf(node);
  if (!SkipCharacters(site, wanted, offset)) {
    return nullptr;
  }
  std::string_view tail = wanted;
  if (!SkipCharacters(site, tail, count)) {
    return nullptr;
  }
  wanted.remove_suffix(tail.size());
  return Join(site, {wanted});
}

void DOM_CharacterData_appendData(DOM_CharacterData* node, const DOM_String* text) {
  const TraceSite site(kSource, __func__);
  const Operation operation;
  if (!CanWorkAt(site, node, 0) || text == nullptr) {
    return;
  }
  Addition addition{};
  if (MeasureAddition(site, text, addition)) {
    Change(site, node, {DataOf(node), addition.text},
           DOM_CharacterDataPart(node).length + addition.columns);
  }
}

void DOM_CharacterData_insertData(DOM_CharacterData* node, int32_t offset, const DOM_String* text) {
  const Operation operation;
  Insert(node, offset, text);
}

void DOM_CharacterData_deleteData(DOM_CharacterData* node, int32_t offset, int32_t count) {
  const Operation operation;
  Delete(node, offset, count);
}

void DOM_CharacterData_replaceData(DOM_CharacterData* node, int32_t offset, int32_t count,
                                   const DOM_String* text) {
  const TraceSite site(kSource, __func__);
  const Operation operation;
  // The text may be the node's own data, which the deletion frees, or another's that a handler
  // changes.
  const qvx::MallocOwner<DOM_String> copy(text == nullptr ? nullptr : strdup(text));
  if (text != nullptr && copy == nullptr) {
    return FailErrno(site);
  }
  if (!Delete(node, offset, count) || !Insert(node, offset, copy.get())) {
    TracePropagation(site);
  }
}

DOM_Text* DOM_Text_splitText(DOM_Text* node, int32_t offset) {
  const TraceSite site(kSource, __func__);
  const Operation operation;
  if (node == nullptr || node->parentNode == nullptr) {
    Fail(site, kNullParameter);
    return nullptr;
  }
  if (!CanWorkAt(site, node, offset)) {
    return nullptr;
  }
  if (node->nodeType == DOM_COMMENT_NODE) {
    Fail(site, DOM_NOT_SUPPORTED_ERR);
    return nullptr;
  }
  std::string_view tail = DataOf(node);
  if (!SkipCharacters(site, tail, offset)) {
    return nullptr;
  }
  DOM_Text* rest = DOM_Document_createTextNode(node->ownerDocument, tail.data());
  if (rest == nullptr) {
    TraceCreateFailed(site);
    return nullptr;
  }
  if (Delete(node, offset, -1)) {
    if (InsertBefore(node->parentNode, rest, node->nextSibling) != nullptr) {
      return IsDoomed(rest) ? Lost(site) : rest;
    }
    // A handler has taken the node out of the tree: it gets back what it was about to lose.
    DOM_CharacterData_appendData(node, rest->nodeValue);
  }
  TracePropagation(site);
  DOM_Document_destroyNode(rest->ownerDocument, rest);
  return nullptr;
}

// The walk is a preorder walk over the subtree that merges at every text. The error cell is looked
// at after each child that has no children of its own; one with children is left, in this walk, by
// way of its last child. A listener sees every merger in the step-by-step way, so that way costs
// what its events cost.
void DOM_Element_normalize(DOM_Node* node) {
  if (node == nullptr) {
    return;
  }
  const Operation operation;
  const bool heard = MayBeHeard();
  for (DOM_Node* at = NextInPreorder(node, node); at != nullptr; at = NextInPreorder(node, at)) {
    if (IsText(at) && heard) {
      MergePrevious(at);
    } else if (IsText(at) && *_DOM_Exception() == 0) {
      at = MergeRun(at);
    }
    if (at->firstChild == nullptr && *_DOM_Exception() != 0) {
      return TraceLevels(node, at);
    }
    // A handler that takes the text out of the subtree ends the walk.
    if (heard && !IsWithin(node, at)) {
      return;
    }
  }
}
