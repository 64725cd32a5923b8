#include "support/msgno.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "support/trace_buffer.h"

msgno_entry _builtin_codes[] = {{kNullParameter, "A parameter was NULL"}, {0, nullptr}};

msgno_entry dom_codes[] = {
    {1, "The index specified was out of range"},
    {0, "The text size is out of range"},
    {0, "The request violated tree hierarchy constraints"},
    {0, "The document context is invalid"},
    {0, "An inappropriate character was encountered"},
    {0, "The node does not support the addition of data"},
    {0, "No modification allowed"},
    {0, "The specified node was not found"},
    {0, "The requested operation is not supported"},
    {0, "The attribute is being used elsewhere"},
    {0, "An XML parser error occured"},
    {0, "Failed to create DOM object"},
    {0, "Character encoding error"},
    {0, "The event type was not specified by initialization"},
    {0, "A filtered list cannot be modified"},
    {0, nullptr},
};

msgno_list list_tbl[kMessageListSlots] = {{_builtin_codes, 1}};
uint32_t next_tbl_idx = 1;

int32_t _exception = 0;

int (*msgno_hdlr)(const char* format, ...) = msgno_hdlr_stderr;

namespace qvx {

namespace {

constexpr int kTableShift = 16;             // the table index is the upper half of a code
constexpr int32_t kHighestNumber = 0xffff;  // the highest number that the lower half holds
constexpr int32_t kHighestTable = 15;       // codes above it are not looked up

int FailWith(int error) {
  errno = error;
  return -1;
}

/// Returns the slot that holds `table`, else the first free slot, else null.
msgno_list* FindSlot(const msgno_entry* table) {
  msgno_list* free_slot = nullptr;
  for (uint32_t i = 1; i < kMessageListSlots; ++i) {
    if (list_tbl[i].table == table) {
      return &list_tbl[i];
    }
    if (list_tbl[i].table == nullptr && free_slot == nullptr) {
      free_slot = &list_tbl[i];
    }
  }
  return free_slot;
}

/// Numbers the entries of a slot's table in place. Returns false at a given number that exceeds
/// kHighestNumber or is lower than the running number. The running number itself is not checked.
bool NumberEntries(msgno_list& slot, int32_t base) {
  int32_t number = 0;
  for (msgno_entry* entry = slot.table; entry->message != nullptr; ++entry) {
    if (entry->code != 0 && (entry->code < number || entry->code > kHighestNumber)) {
      return false;
    }
    number = entry->code != 0 ? entry->code : number;
    entry->code = base | number;
    ++number;
    ++slot.count;
  }
  return true;
}

}  // namespace

}  // namespace qvx

int32_t* _DOM_Exception() {
  return &_exception;
}

int msgno_add_codes(msgno_entry* table) {
  if (table == nullptr || table->message == nullptr) {
    return qvx::FailWith(EINVAL);
  }
  if (next_tbl_idx == kMessageListSlots) {
    return qvx::FailWith(ERANGE);
  }
  msgno_list* slot = qvx::FindSlot(table);
  if (slot == nullptr) {
    return qvx::FailWith(ERANGE);
  }
  if (slot->table == table) {
    return 0;
  }
  const uint32_t index = next_tbl_idx + 1;
  *slot = {table, 0};
  if (!qvx::NumberEntries(*slot, static_cast<int32_t>(index << qvx::kTableShift))) {
    *slot = {};
    return qvx::FailWith(ERANGE);
  }
  next_tbl_idx = index;
  return 0;
}

const char* msgno_msg(int32_t code) {
  const int32_t index = code >> qvx::kTableShift;
  if (index == 0) {
    return std::strerror(code);
  }
  if (index < 0 || index > qvx::kHighestTable) {
    return "No such msgno list";
  }
  const msgno_list& slot = list_tbl[index - 1];
  for (uint32_t i = 0; i < slot.count; ++i) {
    if (slot.table[i].code == code) {
      return slot.table[i].message;
    }
  }
  return "No such message in msgno list";
}

int _msgno_printf(const char* format, ...) {
  if (_msgno_buf_idx > 0) {
    qvx::AppendToTrace("  ");
  }
  va_list arguments;
  va_start(arguments, format);
  qvx::AppendToTraceV(format, arguments);
  va_end(arguments);
  const int result = msgno_hdlr("%s", _msgno_buf);
  _msgno_buf[0] = '\0';
  _msgno_buf_idx = 0;
  return result;
}

int msgno_hdlr_stderr(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
  std::fflush(stderr);
  return 0;
}

int msgno_hdlr_msg(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
  std::fputc('\n', stderr);
  std::fflush(stderr);
  return 0;
}

int msgno_hdlr_mno(int32_t code) {
  std::fprintf(stderr, "%s\n", msgno_msg(code));
  std::fflush(stderr);
  return 0;
}

int msgno_hdlr_mnf(int32_t code, const char* format, ...) {
  std::fprintf(stderr, "%s: ", msgno_msg(code));
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
  std::fputc('\n', stderr);
  std::fflush(stderr);
  return 0;
}
