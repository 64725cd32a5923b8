// What is made of settings and addresses: the configuration, the access directives, the bind list.
#include <arpa/inet.h>
#include <fcntl.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "bench/cases.h"
#include "bench/corpus.h"
#include "os/file_replacement.h"
#include "settings/bind_addresses.h"
#include "settings/interface_addresses.h"
#include "webconf/access_rules.h"
#include "webconf/server_conf.h"

namespace qvx::bench {
namespace {

std::string OutputPath() {
  return ScratchDirectory() + "/output";
}

std::string SizeOfOutput() {
  return std::to_string(std::filesystem::file_size(OutputPath()));
}

ServerConfValues DefaultValues() {
  return {.installation_directory = "/opt/zx/zxqvx",
          .tls_share_directory = "/etc/opt/zx/sslshare",
          .log_directory = "/var/spool/opt/zx/zxqvx"};
}

Prepared Generate(size_t size) {
  return {[addresses = DottedAddresses(size)] {
            FileReplacement file(OutputPath(), OwnFile(0644));
            GenerateServerConf(DefaultValues(), addresses,
                               [&file](std::string_view piece) { return file.Write(piece); });
            file.Commit();
          },
          SizeOfOutput};
}

// One write(2) of the same bytes.
Prepared WriteConfiguration(size_t size) {
  return {[text = ServerConfText(DefaultValues(), DottedAddresses(size))] {
            const Descriptor file(open(OutputPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
            [[maybe_unused]] const ssize_t count = write(file.get(), text.data(), text.size());
          },
          SizeOfOutput};
}

template <std::string (*entries)(size_t)>
Prepared Restrict(size_t size) {
  return Counted([list = entries(size)] { return AccessDirectives(list, "").size(); });
}

template <std::string (*entries)(size_t)>
Prepared CopyDirectives(size_t size) {
  return Counted([text = AccessDirectives(entries(size), "")] {
    return std::make_unique<std::string>(text)->size();
  });
}

Prepared Parse(size_t size) {
  return Counted([text = InterfaceText(size)] { return ParseInterfaceAddresses(text).size(); });
}

// One pass over the text, which converts what follows each keyword.
Prepared ConvertAddresses(size_t size) {
  return Counted([text = InterfaceText(size)] {
    size_t count = 0;
    const char* place = text.c_str();
    while ((place = std::strstr(place, "inet ")) != nullptr) {
      place += std::strlen("inet ");
      uint32_t address = 0;
      for (uint32_t number = 0; *place != '/'; ++place) {
        number = *place == '.' ? 0 : number * 10 + static_cast<uint32_t>(*place - '0');
        address = *place == '.' ? address << 8 : (address & ~255U) | number;
      }
      count += address != 0 ? 1 : 0;
    }
    return count;
  });
}

std::vector<uint32_t> Numbers(size_t size) {
  std::vector<uint32_t> numbers;
  for (const std::string& address : DottedAddresses(size)) {
    numbers.push_back(inet_addr(address.c_str()));
  }
  return numbers;
}

// As many entries as addresses, each of which selects one.
std::string BindingList(size_t size) {
  std::string list;
  for (const std::string& address : DottedAddresses(size)) {
    list += address + "/255.255.255.255;";
  }
  return list;
}

Prepared Select(size_t size) {
  return Counted([available = Numbers(size), list = BindingList(size)] {
    return SelectBindAddresses(available, {.bind_to_selected = true, .binding_list = list.c_str()})
        .size();
  });
}

// One pass over the list, and the texts of the addresses. The loopback address is always one.
Prepared WriteSelected(size_t size) {
  return Counted([available = Numbers(size), list = BindingList(size)] {
    const auto entries = static_cast<size_t>(std::count(list.begin(), list.end(), ';'));
    std::vector<std::string> texts = {"127.0.0.1"};
    for (size_t index = 0; index < entries; ++index) {
      char text[INET_ADDRSTRLEN];
      texts.emplace_back(inet_ntop(AF_INET, &available[index], text, sizeof text));
    }
    return texts.size();
  });
}

// One text that every call has to find the end of.
Prepared ExtendRestriction(size_t size) {
  return Counted([size] {
    char* text = nullptr;
    for (size_t call = 0; call < size; ++call) {
      CreateIPAddrRestrictionStr(1, &text, "10.0.0.1", nullptr);
    }
    const std::unique_ptr<char, decltype(&std::free)> holder(text, &std::free);
    return text != nullptr ? std::strlen(text) : 0;
  });
}

bool AddPair(const char* subject, const char* input, const std::vector<size_t>& sizes,
             Prepared (*ours)(size_t), Prepared (*floor)(size_t)) {
  Addition({subject, input, "ours", sizes, ours});
  Addition({subject, input, "floor", sizes, floor});
  return true;
}

const bool kAdded[] = {
    AddPair("generate", "addresses", {1, 100, 10000}, Generate, WriteConfiguration),
    AddPair("restrict", "widest", {1, 1000, 100000}, Restrict<WidestRanges>,
            CopyDirectives<WidestRanges>),
    AddPair("restrict", "apart", {1, 1000, 100000}, Restrict<RangesApart>,
            CopyDirectives<RangesApart>),
    AddPair("addresses", "parse", {10, 1000, 100000}, Parse, ConvertAddresses),
    AddPair("addresses", "select", {10, 100, 1000, 10000}, Select, WriteSelected)};
const Addition kExtension(
    {"growth", "restriction-calls", "ours", {1000, 4000, 16000}, ExtendRestriction});

}  // namespace
}  // namespace qvx::bench
