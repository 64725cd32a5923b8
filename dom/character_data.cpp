// Character data (DOM Level 2 Core, interfaces CharacterData and Text).
//
// The new data is built in a block of its own and takes the place of the old. Then the change is
// announced. ASCII that is appended while nobody hears of it is put behind the old data in place,
// into a block that doubles when it is full. The size of such a block is the next power of two, so
// the length alone tells where the data and the block end. A bit in the record marks such data.
//
// Offsets count characters, and the length of a node counts columns (support/mbs.h). They differ
// for characters that are not one column wide. So each change adds the columns that came to the
// length, and takes off those that went.
#include "dom/character_data.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <initializer_list>

#include "dom/announcements.h"
#include "dom/common_parent.h"
#include "dom/destruction.h"
#include "dom/failure.h"
#include "dom/listeners.h"
#include "dom/mutation.h"
#include "dom/node_memory.h"
#include "dom/node_records.h"
#include "support/malloc_owner.h"
#include "support/mbs.h"
#include "support/trace_modules.h"

namespace qvx::dom {
namespace {

constexpr const char* kModule = qvx::trace_modules::kDom;
constexpr char kInsertData[] = "DOM_CharacterData_insertData";
constexpr char kDeleteData[] = "DOM_CharacterData_deleteData";
constexpr size_t kLongest = INT_MAX / 2;  // of data that grows in place

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

/// A text to be put into data.
struct Addition {
  std::string_view text;
  uint32_t columns;
};

/// Measures `text`; false, recorded, if it is undecodable.
bool MeasureAddition(const TraceSite& site, const DOM_String* text, Addition& addition) {
  MeasuredText measured;
  if (!MeasureText(text, measured)) {
    FailErrno(site);
    return false;
  }
  addition = {std::string_view(text, measured.bytes - 1), measured.columns};
  return true;
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

/// What a block for `length` characters that may grow has for them and the NUL.
size_t GrowingRoom(size_t length) {
  return std::bit_ceil(length + 1);
}

/// Makes sure that the data of `node`, ASCII of its length, can grow to `length` characters in
/// place. Returns false with errno set when memory ran out.
bool MakeRoom(DOM_CharacterData* node, size_t length) {
  auto* record = static_cast<CharacterDataNode*>(node);
  const bool grows = record->has_growing_value != 0;
  const size_t room = GrowingRoom(length);
  if (grows && room == GrowingRoom(record->length)) {
    return true;
  }
  auto* data = static_cast<char*>(std::realloc(grows ? node->nodeValue : nullptr, room));
  if (data == nullptr) {
    return false;
  }
  if (grows) {
    node->nodeValue = data;
    return true;
  }
  std::memcpy(data, node->nodeValue, size_t{record->length} + 1);
  FreeText(node, ExchangeValue(node, data, record->length));
  record->has_growing_value = 1;
  return true;
}

bool IsAsciiText(std::string_view text) {
  return IsAscii(text.data(), text.size());
}

/// Whether the data of `node` is ASCII, and `addition` too and no part of it.
bool CanGrowBy(const DOM_CharacterData* node, const Addition& addition) {
  const auto* record = static_cast<const CharacterDataNode*>(node);
  const char* const data = node->nodeValue;
  if (data == nullptr || record->length > kLongest || addition.text.size() > kLongest ||
      !IsAsciiText(addition.text)) {
    return false;
  }
  const bool is_ascii =
      record->has_growing_value != 0 || (std::strlen(data) == record->length && IsAsciiText(data));
  return is_ascii && (std::less<>()(addition.text.data(), data) ||
                      std::less<>()(data + record->length, addition.text.data()));
}

/// Puts `addition` behind the data of `node`, which CanGrowBy; nobody is told.
void Grow(const TraceSite& site, DOM_CharacterData* node, const Addition& addition) {
  auto* record = static_cast<CharacterDataNode*>(node);
  const size_t length = record->length + addition.text.size();
  if (!MakeRoom(node, length)) {
    FailErrno(site);
    return;
  }
  char* const end = node->nodeValue + record->length;
  std::memcpy(end, addition.text.data(), addition.text.size() + 1);
  record->length = static_cast<uint32_t>(length);
  NoteChange(node->parentNode);
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
  NoteChange(parent);
  return true;
}

bool Delete(DOM_CharacterData* node, int32_t offset, int32_t count) {
  if (!CanWorkAt({kModule, kDeleteData}, node, offset)) {
    return false;
  }
  const std::string_view data = DataOf(node);
  std::string_view deleted = data;
  if (!SkipCharacters({kModule, kDeleteData}, deleted, offset)) {
    return false;
  }
  const std::string_view head = data.substr(0, data.size() - deleted.size());
  const uint32_t length = DOM_CharacterDataPart(node).length;
  std::string_view tail;
  const uint32_t rest = length - static_cast<uint32_t>(offset);
  // Characters of width 0 may stand behind a rest of 0.
  if (count == 0 || (count > 0 && static_cast<uint32_t>(count) < rest)) {
    tail = deleted;
    if (!SkipCharacters({kModule, kDeleteData}, tail, count)) {
      return false;
    }
    deleted.remove_suffix(tail.size());
  }
  const int columns = mbsnlen(deleted.data(), deleted.size(), -1);
  if (columns < 0) {
    FailErrno({kModule, kDeleteData});
    return false;
  }
  return Change({kModule, kDeleteData}, node, {head, tail},
                length - std::min(static_cast<uint32_t>(columns), length));
}

}  // namespace

std::string_view DataOf(const DOM_CharacterData* node) {
  return node->nodeValue == nullptr ? "" : node->nodeValue;
}

bool InsertData(DOM_CharacterData* node, int32_t offset, const DOM_String* text) {
  if (!CanWorkAt({kModule, kInsertData}, node, offset)) {
    return false;
  }
  if (text == nullptr) {
    return true;
  }
  const std::string_view data = DataOf(node);
  std::string_view tail = data;
  Addition addition{};
  return SkipCharacters({kModule, kInsertData}, tail, offset) &&
         MeasureAddition({kModule, kInsertData}, text, addition) &&
         Change({kModule, kInsertData}, node,
                {data.substr(0, data.size() - tail.size()), addition.text, tail},
                DOM_CharacterDataPart(node).length + addition.columns);
}

}  // namespace qvx::dom

using namespace qvx::dom;
using qvx::TracePropagation;

DOM_String* DOM_CharacterData_substringData(DOM_CharacterData* node, int32_t offset,
                                            int32_t count) {
  if (!CanWorkAt({kModule, __func__}, node, offset)) {
    return nullptr;
  }
  if (count < 0) {
    Fail({kModule, __func__}, DOM_INDEX_SIZE_ERR);
    return nullptr;
  }
  std::string_view wanted = DataOf(node);
  if (!SkipCharacters({kModule, __func__}, wanted, offset)) {
    return nullptr;
  }
  std::string_view tail = wanted;
  const auto rest = static_cast<int32_t>(DOM_CharacterDataPart(node).length) - offset;
  if (!SkipCharacters({kModule, __func__}, tail, std::min(count, rest))) {
    return nullptr;
  }
  wanted.remove_suffix(tail.size());
  return Join({kModule, __func__}, {wanted});
}

void DOM_CharacterData_appendData(DOM_CharacterData* node, const DOM_String* text) {
  const Operation operation;
  if (!CanWorkAt({kModule, __func__}, node, 0) || text == nullptr) {
    return;
  }
  Addition addition{};
  if (!MeasureAddition({kModule, __func__}, text, addition)) {
    return;
  }
  if (!IsAwaited(node, kCharacterDataModified) && CanGrowBy(node, addition)) {
    Grow({kModule, __func__}, node, addition);
  } else {
    Change({kModule, __func__}, node, {DataOf(node), addition.text},
           DOM_CharacterDataPart(node).length + addition.columns);
  }
}

void DOM_CharacterData_insertData(DOM_CharacterData* node, int32_t offset, const DOM_String* text) {
  const Operation operation;
  InsertData(node, offset, text);
}

void DOM_CharacterData_deleteData(DOM_CharacterData* node, int32_t offset, int32_t count) {
  const Operation operation;
  Delete(node, offset, count);
}

void DOM_CharacterData_replaceData(DOM_CharacterData* node, int32_t offset, int32_t count,
                                   const DOM_String* text) {
  const Operation operation;
  // The text may be the node's own data, which the deletion frees, or another's that a handler
  // changes.
  const qvx::MallocOwner<DOM_String> copy(text == nullptr ? nullptr : strdup(text));
  if (text != nullptr && copy == nullptr) {
    FailErrno({kModule, __func__});
    return;
  }
  if (!Delete(node, offset, count) || !InsertData(node, offset, copy.get())) {
    TracePropagation({kModule, __func__});
  }
}

DOM_Text* DOM_Text_splitText(DOM_Text* node, int32_t offset) {
  const Operation operation;
  if (node == nullptr || node->parentNode == nullptr) {
    Fail({kModule, __func__}, kNullParameter);
    return nullptr;
  }
  if (!CanWorkAt({kModule, __func__}, node, offset)) {
    return nullptr;
  }
  if (node->nodeType == DOM_COMMENT_NODE) {
    Fail({kModule, __func__}, DOM_NOT_SUPPORTED_ERR);
    return nullptr;
  }
  std::string_view tail = DataOf(node);
  if (!SkipCharacters({kModule, __func__}, tail, offset)) {
    return nullptr;
  }
  DOM_Text* rest = DOM_Document_createTextNode(node->ownerDocument, tail.data());
  if (rest == nullptr) {
    TraceCreateFailed({kModule, __func__});
    return nullptr;
  }
  if (Delete(node, offset, -1)) {
    if (InsertBefore(node->parentNode, rest, node->nextSibling) != nullptr) {
      if (!IsDoomed(rest)) {
        return rest;
      }
      Fail({kModule, __func__}, DOM_NOT_FOUND_ERR);
      return nullptr;
    }
    // A handler has taken the node out of the tree, so the node keeps its data.
    DOM_CharacterData_appendData(node, rest->nodeValue);
  }
  TracePropagation({kModule, __func__});
  DOM_Document_destroyNode(rest->ownerDocument, rest);
  return nullptr;
}
