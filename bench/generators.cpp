// What is made of settings and addresses: the configuration, the access directives, the bind list.
#include <arpa/inet.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench/cases.h"
#include "bench/generator_inputs.h"
#include "settings/bind_addresses.h"
#include "settings/interface_addresses.h"
#include "webconf/access_rules.h"
#include "webconf/server_conf.h"

namespace qvx::bench {
namespace {

using Texts = std::shared_ptr<std::string>;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHolder = std::unique_ptr<std::FILE, FileCloser>;

FileHolder OutputFile() {
  return FileHolder(std::fopen((ScratchDirectory() + "/output").c_str(), "w"));
}

std::string SizeOfOutput() {
  const FileHolder file(std::fopen((ScratchDirectory() + "/output").c_str(), "r"));
  std::fseek(file.get(), 0, SEEK_END);
  return std::to_string(std::ftell(file.get())) + " bytes";
}

ServerConfValues DefaultValues() {
  return {.installation_directory = "/opt/zx/zxqvx",
          .tls_share_directory = "/etc/opt/zx/sslshare",
          .log_directory = "/var/spool/opt/zx/zxqvx",
          .log_level = "error"};
}

bool Write(std::FILE* file, std::string_view text) {
  return std::fwrite(text.data(), 1, text.size(), file) == text.size();
}

Prepared GenerateOurs(size_t size) {
  const auto addresses = std::make_shared<std::vector<std::string>>(DottedAddresses(size));
  return {.work =
              [addresses] {
                const FileHolder file = OutputFile();
                GenerateServerConf(DefaultValues(), *addresses, [&file](std::string_view piece) {
                  return Write(file.get(), piece);
                });
              },
          .result = SizeOfOutput};
}

Prepared GenerateFloor(size_t size) {
  const Texts text =
      std::make_shared<std::string>(ServerConfText(DefaultValues(), DottedAddresses(size)));
  return {.work = [text] { static_cast<void>(Write(OutputFile().get(), *text)); },
          .result = SizeOfOutput};
}

const Addition kGenerateOurs({"generate", "addresses", "ours", {1, 100, 10000}, GenerateOurs});
const Addition kGenerateFloor({"generate", "addresses", "floor", {1, 100, 10000}, GenerateFloor});

Prepared RestrictOurs(const std::string& entries) {
  const auto directives = std::make_shared<std::string>();
  return {.work = [entries, directives] { *directives = AccessDirectives(entries, ""); },
          .result = [directives] { return std::to_string(directives->size()) + " bytes"; }};
}

Prepared RestrictFloor(const std::string& entries) {
  const Texts whole = std::make_shared<std::string>(AccessDirectives(entries, ""));
  const auto directives = std::make_shared<std::string>();
  return {.work = [whole, directives] { directives->append(*whole); },
          .result = [directives] { return std::to_string(directives->size()) + " bytes"; }};
}

const std::vector<size_t> kEntries = {1, 1000, 100000};
const Addition kRestrictOurs({"restrict", "widest", "ours", kEntries,
                              [](size_t size) { return RestrictOurs(WidestRanges(size)); }});
const Addition kRestrictFloor({"restrict", "widest", "floor", kEntries,
                               [](size_t size) { return RestrictFloor(WidestRanges(size)); }});
const Addition kApartOurs({"restrict", "apart", "ours", kEntries,
                           [](size_t size) { return RestrictOurs(RangesApart(size, '-', ';')); }});
const Addition kApartFloor({"restrict", "apart", "floor", kEntries, [](size_t size) {
                              return RestrictFloor(RangesApart(size, '-', ';'));
                            }});

Prepared ParseOurs(size_t size) {
  const Texts text = std::make_shared<std::string>(InterfaceText(size));
  const auto count = std::make_shared<size_t>(0);
  return {.work = [text, count] { *count = ParseInterfaceAddresses(*text).size(); },
          .result = [count] { return std::to_string(*count) + " addresses"; }};
}

// One pass over the text, which converts what follows each keyword.
Prepared ParseFloor(size_t size) {
  const Texts text = std::make_shared<std::string>(InterfaceText(size));
  const auto count = std::make_shared<size_t>(0);
  return {.work =
              [text, count] {
                const char* place = text->c_str();
                while ((place = std::strstr(place, "inet ")) != nullptr) {
                  place += std::strlen("inet ");
                  uint32_t address = 0;
                  for (uint32_t number = 0; *place != '/'; ++place) {
                    number = *place == '.' ? 0 : number * 10 + static_cast<uint32_t>(*place - '0');
                    address = *place == '.' ? address << 8 : (address & ~255U) | number;
                  }
                  *count += address != 0 ? 1 : 0;
                }
              },
          .result = [count] { return std::to_string(*count) + " addresses"; }};
}

const std::vector<size_t> kInterfaces = {10, 1000, 100000};
const Addition kParseOurs({"addresses", "parse", "ours", kInterfaces, ParseOurs});
const Addition kParseFloor({"addresses", "parse", "floor", kInterfaces, ParseFloor});

struct Selecting {
  std::vector<uint32_t> available;
  std::string binding_list;
  size_t selected = 0;
};

// As many entries as addresses, each of which selects one.
std::shared_ptr<Selecting> NewSelecting(size_t size) {
  auto selecting = std::make_shared<Selecting>();
  for (const std::string& address : DottedAddresses(size)) {
    selecting->available.push_back(inet_addr(address.c_str()));
    selecting->binding_list += address + "/255.255.255.255;";
  }
  return selecting;
}

Prepared SelectOurs(size_t size) {
  const auto selecting = NewSelecting(size);
  return {.work =
              [selecting] {
                selecting->selected = SelectBindAddresses(selecting->available,
                                                          {.is_to_selected = true,
                                                           .is_to_wildcard = false,
                                                           .binding_list = selecting->binding_list})
                                          .size();
              },
          .result = [selecting] { return std::to_string(selecting->selected) + " selected"; }};
}

// One pass over the list, and the texts of the addresses. The loopback address is always one.
Prepared SelectFloor(size_t size) {
  const auto selecting = NewSelecting(size);
  return {.work =
              [selecting] {
                for (const char c : selecting->binding_list) {
                  selecting->selected += c == ';' ? 1 : 0;
                }
                std::vector<std::string> texts = {"127.0.0.1"};
                for (const uint32_t address : selecting->available) {
                  std::array<char, INET_ADDRSTRLEN> text{};
                  texts.emplace_back(inet_ntop(AF_INET, &address, text.data(), text.size()));
                }
                selecting->selected = texts.size();
              },
          .result = [selecting] { return std::to_string(selecting->selected) + " selected"; }};
}

const std::vector<size_t> kBindings = {10, 100, 1000, 10000};
const Addition kSelectOurs({"addresses", "select", "ours", kBindings, SelectOurs});
const Addition kSelectFloor({"addresses", "select", "floor", kBindings, SelectFloor});

// One text that every call has to find the end of.
Prepared RestrictionCalls(size_t size) {
  using TextHolder = std::unique_ptr<char, decltype(&std::free)>;
  const auto length = std::make_shared<size_t>(0);
  return {.work =
              [size, length] {
                char* text = nullptr;
                for (size_t call = 0; call < size; ++call) {
                  CreateIPAddrRestrictionStr(1, &text, "10.0.0.1", nullptr);
                }
                const TextHolder holder(text, &std::free);
                *length = std::string_view(text).size();
              },
          .result = [length] { return std::to_string(*length) + " bytes"; }};
}

const Addition kRestrictionCalls(
    {"growth", "restriction-calls", "ours", {1000, 4000, 16000}, RestrictionCalls});

}  // namespace
}  // namespace qvx::bench
