// Numbered error codes, their texts, and the trace of the last failure.
//
// An operation that fails leaves three things: its failure value (null or -1), a number in the one
// error cell, and a line in the one trace buffer. The number has two fields: bits 31 to 16 are a
// table index (0: a system error number; 1 to 15: a registered message table), bits 15 to 0 a
// number within that table.
//
// The trace buffer (trace_buffer.h) holds one line for each operation that failed: the innermost
// first, then its callers.
//
// All of this is process-wide and has no lock, so only one thread may use it.
#ifndef QVX_SUPPORT_MSGNO_H
#define QVX_SUPPORT_MSGNO_H

#include <cstdint>

#include "support/trace_buffer.h"

/// One message of a table; a table is an array of these, ended by an entry whose message is null.
struct msgno_entry {
  int32_t code;  ///< before registration: an explicit number, or 0 for "the next one"; after: the
                 ///< whole code
  const char* message;  ///< constant text, owned by the module that declares the table
};

/// One slot of the registry.
struct msgno_list {
  msgno_entry* table;  ///< borrowed; null when the slot is free
  uint32_t count;      ///< entries of the table
};

inline constexpr uint32_t kMessageListSlots = 16;

extern msgno_entry _builtin_codes[];
extern msgno_list list_tbl[kMessageListSlots];
extern uint32_t next_tbl_idx;  ///< the highest table index handed out

/// The code of a required argument that was null: 65536, the built-in table's one entry.
inline constexpr int32_t kNullParameter = 0x10000;

/// The document model's own table: fifteen entries, numbered from 1 by msgno_add_codes.
extern msgno_entry dom_codes[];

// The codes of that table. They are references, because a code gets its table index only when the
// table is registered. Every node factory and every failure of the document model registers it.
inline const int32_t& DOM_INDEX_SIZE_ERR = dom_codes[0].code;
inline const int32_t& DOM_DOMSTRING_SIZE_ERR = dom_codes[1].code;
inline const int32_t& DOM_HIERARCHY_REQUEST_ERR = dom_codes[2].code;
inline const int32_t& DOM_WRONG_DOCUMENT_ERR = dom_codes[3].code;
inline const int32_t& DOM_INVALID_CHARACTER_ERR = dom_codes[4].code;
inline const int32_t& DOM_NO_DATA_ALLOWED_ERR = dom_codes[5].code;
inline const int32_t& DOM_NO_MODIFICATION_ALLOWED_ERR = dom_codes[6].code;
inline const int32_t& DOM_NOT_FOUND_ERR = dom_codes[7].code;
inline const int32_t& DOM_NOT_SUPPORTED_ERR = dom_codes[8].code;
inline const int32_t& DOM_INUSE_ATTRIBUTE_ERR = dom_codes[9].code;
inline const int32_t& DOM_PARSER_ERR = dom_codes[10].code;
inline const int32_t& DOM_CREATE_ERR = dom_codes[11].code;
inline const int32_t& DOM_ENCODING_ERR = dom_codes[12].code;
inline const int32_t& DOM_EVENT_TYPE_ERR = dom_codes[13].code;
inline const int32_t& DOM_FILTERED_LIST_ERR = dom_codes[14].code;

/// The error cell: 0, a registered code, or an errno value. Only the document loader clears it.
extern int32_t _exception;

/// Returns the address of the error cell.
int32_t* _DOM_Exception();

/// The function to which _msgno_printf hands its text; at first msgno_hdlr_stderr.
extern int (*msgno_hdlr)(const char* format, ...);

/// Registers `table` and rewrites the codes of its entries in place. An entry with the code 0 gets
/// the number that follows the one before it. A table that is registered already stays as it is.
/// The table is borrowed for the rest of the process. Returns 0; or -1 with errno EINVAL (the table
/// is null or empty) or ERANGE. ERANGE has two causes: all table indices are used up, which is
/// tested even for a registered table; or a given number exceeds 65535 or is lower than the number
/// that would follow. After the second one the slot is free again, and the codes in front of the
/// refused one stay rewritten. The numbers of entries with the code 0 are not checked: one above
/// 65535 runs into the bits of the table index.
int msgno_add_codes(msgno_entry* table);

/// Returns the constant text of `code`, never null. Table index 0 gives the text of the system. A
/// code that is not registered gives "No such msgno list" or "No such message in msgno list".
const char* msgno_msg(int32_t code);

/// Appends two blanks, unless the trace buffer is empty, and the formatted text to the trace
/// buffer, hands the whole to msgno_hdlr, and empties the buffer. What does not fit the buffer is
/// cut. Returns the handler's result.
[[gnu::format(printf, 1, 2)]] int _msgno_printf(const char* format, ...);

/// Writes the formatted text to standard error and flushes; returns 0.
[[gnu::format(printf, 1, 2)]] int msgno_hdlr_stderr(const char* format, ...);

/// As msgno_hdlr_stderr, followed by a line end.
[[gnu::format(printf, 1, 2)]] int msgno_hdlr_msg(const char* format, ...);

/// Writes the text of `code` and a line end to standard error and flushes; returns 0.
int msgno_hdlr_mno(int32_t code);

/// Writes the text of `code`, ": ", the formatted text and a line end to standard error and
/// flushes; returns 0.
[[gnu::format(printf, 2, 3)]] int msgno_hdlr_mnf(int32_t code, const char* format, ...);

#endif
