#include "settings/reader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "log/ring_log.h"
#include "settings/document.h"

namespace qvx {

namespace {

constexpr std::string_view kLogLevels[] = {"debug", "info", "notice", "warn",
                                           "error", "crit", "alert",  "emerg"};

bool Equals(const char* value, const char* word) {
  return stricmp_chk(value, word) == 0;
}

void Read(const Flag& flag, const char* text, LoadedSettings& settings) {
  if (Equals(text, flag.on)) {
    settings.*flag.field = true;
  } else if (Equals(text, flag.off)) {
    settings.*flag.field = false;
  }
}

void Read(const Number& number, const char* text, LoadedSettings& settings) {
  const long value = text == nullptr ? number.otherwise : std::strtol(text, nullptr, 10);
  const bool is_allowed = value >= number.least && value <= number.most;
  settings.*number.field = is_allowed ? static_cast<int32_t>(value) : number.otherwise;
  if (!is_allowed && number.refusal != nullptr) {
    LogOutput(kLogInformation, "%s", number.refusal);
  }
}

void Read(const Word& word, const char* text, LoadedSettings& settings) {
  if (text != nullptr) {
    const auto known = std::find_if(word.words.begin(), word.words.end(),
                                    [&](std::string_view w) { return Equals(text, w.data()); });
    settings.*word.field = known == word.words.end() ? word.otherwise : *known;
  }
}

void Read(const Text& kind, const char* text, LoadedSettings& settings) {
  settings.*kind.field = text;
}

const char* IfRestricted(DOM_Document* document, const char* element,
                         const LoadedSettings& settings) {
  return settings.restrict_clients ? SettingText(document, element) : nullptr;
}

/// Whatever the value of ip-binding is.
const char* WithBinding(DOM_Document* document, const char* element, const LoadedSettings&) {
  return SettingText(document, "ip-binding") ? SettingText(document, element) : nullptr;
}

const char* FalseUnlessTrue(DOM_Document* document, const char* element, const LoadedSettings&) {
  return Equals(SettingText(document, element), "True") ? "True" : "False";
}

/// A character that is no digit has the number 0.
const char* OneCharacter(DOM_Document* document, const char* element, const LoadedSettings&) {
  const char* text = SettingText(document, element);
  const bool is_zero = text != nullptr && std::strlen(text) == 1 && std::atoi(text) == 0;
  return is_zero ? "0" : text;
}

/// True does not take back a False.
const char* OnlyFalse(DOM_Document* document, const char* element, const LoadedSettings&) {
  return Equals(SettingText(document, element), "False") ? "False" : nullptr;
}

const char* TwoCharacters(DOM_Document* document, const char* element, const LoadedSettings&) {
  const char* text = SettingText(document, element);
  return text != nullptr && std::strlen(text) <= 2 ? text : nullptr;
}

using In = LoadedSettings;

constexpr Setting kSettings[] = {
    {.element = "ip-restricted-logins", .kind = Flag{&In::restrict_clients}},
    {.element = "ip-restricted-include", .kind = Text{&In::included_clients}, .rule = IfRestricted},
    {.element = "ip-restricted-exclude", .kind = Text{&In::excluded_clients}, .rule = IfRestricted},
    {.element = "ip-binding", .kind = Flag{&In::bind_to_selected}, .rule = FalseUnlessTrue},
    {.element = "ip-binding-list", .kind = Text{&In::binding_list}, .rule = WithBinding},
    {.element = "monitor-ip-changes",
     .kind = Flag{.field = &In::bind_to_wildcard, .on = "1", .off = "0"},
     .rule = OneCharacter},
    {.element = "rotate-logs", .kind = Flag{.field = &In::rotate_logs, .on = "1", .off = "2"}},
    {.element = "rotate-logs-size",
     .kind = Number{.field = &In::rotate_size, .least = 1, .most = 99, .otherwise = 5},
     .rule = TwoCharacters},
    {.element = "log-base-dir", .kind = Text{&In::log_directory}},
    {.element = "disable-sslv2", .kind = Flag{&In::refuse_ssl2}, .rule = OnlyFalse},
    {.element = "max-threads",
     .kind =
         Number{.field = &In::max_threads,
                .least = 25,
                .most = 64,
                .otherwise = 25,
                .refusal =
                    "max-threads in XML file is outside of allowed bounds, using default value."}},
    {.element = "log-level",
     .kind = Word{.field = &In::log_level, .words = kLogLevels, .otherwise = "error"}},
};

/// The first rows: who is let in, and what the bind list depends on.
constexpr size_t kAccessRows = 6;

void ReadRows(std::span<const Setting> rows, DOM_Document* document, LoadedSettings& settings) {
  for (const Setting& row : rows) {
    const char* text = row.rule == nullptr ? SettingText(document, row.element)
                                           : row.rule(document, row.element, settings);
    std::visit([&](const auto& kind) { Read(kind, text, settings); }, row.kind);
  }
}

}  // namespace

const std::span<const Setting> kSettingRows = kSettings;

void ReadAccessSettings(DOM_Document* document, LoadedSettings& settings) {
  ReadRows(kSettingRows.first(kAccessRows), document, settings);
}

void ReadServerSettings(DOM_Document* document, LoadedSettings& settings) {
  ReadRows(kSettingRows.subspan(kAccessRows), document, settings);
}

}  // namespace qvx
