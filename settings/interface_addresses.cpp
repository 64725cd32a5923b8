#include "settings/interface_addresses.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "os/commands.h"
#include "support/memory.h"

int32_t GlobalIpAddrCount = 0;
unsigned char GlobalIpAddrList[kMaxCachedAddresses][4] = {};
char* BaseAddrList[kMaxCachedAddresses + 1] = {};

namespace qvx {

namespace {

constexpr char kAddressCommand[] = "/sbin/ip addr";
constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kDottedCharacters = "0123456789.";

/// The blank excludes inet6 lines.
constexpr std::string_view kAddressKeyword = "inet ";
constexpr std::string_view kFamilyKeyword = "inet";

/// The longest dotted address, "255.255.255.255".
constexpr size_t kLongestAddress = 15;

/// Returns nothing when the command could not be started or a read failed. Without its end, the
/// output would pass for that of a machine with fewer addresses.
std::optional<std::string> ReadCommand() {
  const CommandStream stream = OpenCommand(kAddressCommand);
  if (!stream) {
    return std::nullopt;
  }
  std::string text;
  char piece[4096];
  while (const size_t length = std::fread(piece, 1, sizeof piece, stream.get())) {
    text.append(piece, length);
  }
  return std::ferror(stream.get()) == 0 ? std::optional(std::move(text)) : std::nullopt;
}

/// Finds the runs of digits and "." that follow the occurrences of a keyword, on the same line or a
/// later one.
class DottedRuns {
 public:
  DottedRuns(std::string_view text, std::string_view keyword) : rest_(text), keyword_(keyword) {}

  /// Returns the next run, or nothing at the end of the text.
  std::optional<std::string_view> Next() {
    const size_t start = rest_.find_first_of(kDigits, rest_.find(keyword_));
    if (start == std::string_view::npos) {
      rest_ = {};
      return std::nullopt;
    }
    const size_t end = std::min(rest_.find_first_not_of(kDottedCharacters, start), rest_.size());
    const std::string_view run = rest_.substr(start, end - start);
    // The character behind a run is its end, and no keyword begins there.
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    return run;
  }

 private:
  std::string_view rest_;
  std::string_view keyword_;
};

/// Returns an empty text when the command cannot be started or memory runs out.
std::string InterfaceText() {
  try {
    return ReadInterfaceText().value_or("");
  } catch (const std::bad_alloc&) {
    return {};
  }
}

int32_t HandOver(std::span<const uint32_t> addresses, uint32_t** holder) {
  *holder = static_cast<uint32_t*>(std::calloc(addresses.size() + 1, sizeof **holder));
  if (*holder == nullptr) {
    return 0;
  }
  std::copy(addresses.begin(), addresses.end(), *holder);
  return static_cast<int32_t>(addresses.size());
}

void FillAddressCache() {
  const std::string text = InterfaceText();
  DottedRuns runs(text, kFamilyKeyword);
  while (const auto run = runs.Next()) {
    const in_addr_t address = inet_addr(std::string(*run).c_str());
    const bool begins_with_0 =
        ntohl(address) >> 24 == 0;  // so does the 6 of an inet6 line: it is read as 0.0.0.6
    if (address == htonl(INADDR_LOOPBACK) || begins_with_0 ||
        GlobalIpAddrCount == kMaxCachedAddresses) {
      continue;
    }
    unsigned char* cached = GlobalIpAddrList[GlobalIpAddrCount];
    std::memcpy(cached, &address, sizeof address);
    BaseAddrList[GlobalIpAddrCount] = reinterpret_cast<char*>(cached);
    ++GlobalIpAddrCount;
  }
}

}  // namespace

std::optional<std::string> ReadInterfaceText() {
  std::optional<std::string> text = ReadCommand();
  if (!text) {
    text = ReadCommand();
  }
  if (text) {
    text->resize(std::min(text->find('\0'), text->size()));
  }
  return text;
}

std::vector<uint32_t> ParseInterfaceAddresses(std::string_view interface_text) {
  std::vector<uint32_t> addresses;
  DottedRuns runs(interface_text, kAddressKeyword);
  while (const auto run = runs.Next()) {
    const std::string dotted(run->substr(0, kLongestAddress));
    in_addr address{};
    if (dotted != "0.0.0.0" && dotted != "255.255.255.255" &&
        inet_aton(dotted.c_str(), &address) != 0) {
      addresses.push_back(address.s_addr);
    }
  }
  return addresses;
}

std::vector<uint32_t> AvailableAddresses() {
  const std::string text = InterfaceText();
  try {
    return ParseInterfaceAddresses(text);
  } catch (const std::bad_alloc&) {
    return {htonl(INADDR_LOOPBACK)};
  }
}

}  // namespace qvx

int getIFConf(char** holder) {
  *holder = nullptr;
  try {
    const std::optional<std::string> text = qvx::ReadInterfaceText();
    *holder = text ? strdup(text->c_str()) : nullptr;
  } catch (const std::bad_alloc&) {
    return -1;
  }
  return *holder == nullptr ? -1 : 0;
}

int32_t OSFindAvailableIPs(uint32_t** holder) {
  try {
    return qvx::HandOver(qvx::AvailableAddresses(), holder);
  } catch (const std::bad_alloc&) {
    return qvx::HandOver({}, holder);
  }
}

hostent* OSGetHostByName(const char* name) {
  hostent* entry = name == nullptr ? nullptr : gethostbyname(name);
  if (GlobalIpAddrCount != 0) {
    return entry;
  }
  // Without memory the cache keeps what it has by then.
  static_cast<void>(qvx::HasMemoryFor([] { qvx::FillAddressCache(); }));
  if (entry != nullptr) {
    entry->h_addr_list = BaseAddrList;
  }
  return entry;
}
