// The settings: a row for each, and how its element is read.
#ifndef QVX_SETTINGS_READER_H
#define QVX_SETTINGS_READER_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "dom/dom.h"

namespace qvx {

/// The settings as one value, at first with the values before reading. The texts are borrowed from
/// the document and may be null.
struct LoadedSettings {
  bool restrict_clients = false;           ///< client addresses are restricted
  const char* included_clients = nullptr;  ///< addresses allowed
  const char* excluded_clients = nullptr;  ///< addresses refused
  bool bind_to_selected = false;           ///< bind only to the addresses that the list selects
  const char* binding_list = nullptr;
  bool bind_to_wildcard = false;        ///< with binding off, bind to 127.0.0.1 and the wildcard
  bool rotate_logs = true;              ///< the web server's logs go through the rotation program
  int32_t rotate_size = 0;              ///< megabytes before rotation; 0 until it is read
  const char* log_directory = nullptr;  ///< of the web server's logs; null: the default
  bool refuse_ssl2 = true;
  int32_t max_threads = 64;         ///< worker threads, 25 to 64
  std::string log_level = "error";  ///< the web server's log level word

  bool operator==(const LoadedSettings&) const = default;
};

template <typename Value>
using FieldOf = Value LoadedSettings::*;

/// The word `on` sets it, the word `off` clears it. Anything else leaves it.
struct Flag {
  FieldOf<bool> field;
  const char* on = "True";
  const char* off = "False";
};

/// The digits that the text begins with, from `least` to `most`. Anything else, and no element,
/// gives `otherwise`.
struct Number {
  FieldOf<int32_t> field;
  int32_t least;
  int32_t most;
  int32_t otherwise;
  const char* refusal = nullptr;  ///< is logged for a text that is not taken
};

/// One of the words, spelt as it is here. Anything else gives `otherwise`. No element leaves it.
struct Word {
  FieldOf<std::string> field;
  std::span<const std::string_view> words;
  std::string_view otherwise;
};

/// The text as it stands. No element gives null.
struct Text {
  FieldOf<const char*> field;
};

/// A setting. Words are compared without regard to case.
struct Setting {
  const char* element;
  std::variant<Flag, Number, Word, Text> kind;
  /// Returns the text that is read where that is not always the element's; null: as no element.
  const char* (*rule)(DOM_Document*, const char* element, const LoadedSettings&) = nullptr;
};

/// The rows in the order in which they are read.
extern const std::span<const Setting> kSettingRows;

// Both functions put the settings of the document into `settings`, whose texts then belong to the
// document. They throw std::bad_alloc.

/// Reads which clients are let in, and the settings that the bind list depends on.
void ReadAccessSettings(DOM_Document* document, LoadedSettings& settings);

/// Reads the other settings: logs, TLS and threads. A thread number out of bounds is logged.
void ReadServerSettings(DOM_Document* document, LoadedSettings& settings);

}  // namespace qvx

#endif
