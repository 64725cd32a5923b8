#include "bench/corpus.h"

#include <cstdint>
#include <fstream>

#include "bench/cases.h"
#include "settings/document.h"

namespace qvx::bench {

namespace {

constexpr uint32_t kFirstAddress = 10U << 24 | 1;
constexpr uint32_t kRangeSize = 32768;

std::string Numbered(std::string_view pattern, size_t number) {
  const std::string digits = std::to_string(number);
  std::string text;
  for (const char c : pattern) {
    text += c == '#' ? digits : std::string(1, c);
  }
  return text;
}

std::string Numbers(size_t size, std::string_view pattern) {
  std::string text;
  for (size_t number = 0; number < size; ++number) {
    text += Numbered(pattern, number);
  }
  return text;
}

std::string Element(const std::string& name, const std::string& content) {
  return '<' + name + '>' + content + "</" + name + '>';
}

std::string Chain(size_t levels) {
  std::string chain = "end";
  for (size_t level = 0; level < levels; ++level) {
    chain = Element("level", chain);
  }
  return chain + '\n';
}

// A text of twenty references.
std::string References(const std::string& reference) {
  std::string text = "one";
  for (int index = 0; index < 20; ++index) {
    text += ' ' + reference + " and";
  }
  return Element("text", text) + '\n';
}

std::string Dotted(uint32_t address) {
  return std::to_string(address >> 24) + '.' + std::to_string(address >> 16 & 255) + '.' +
         std::to_string(address >> 8 & 255) + '.' + std::to_string(address & 255);
}

// What the interface command prints in front of an address and behind it.
constexpr char kInterface[] =
    "#: eth#: <BROADCAST,MULTICAST,UP,LOWER_UP> mtu 1500 qdisc noqueue state UP group default\n"
    "    link/ether 02:42:ac:11:00:02 brd ff:ff:ff:ff:ff:ff\n"
    "    inet ";
constexpr char kInterfaceEnd[] =
    "/24 brd 10.255.255.255 scope global eth#\n"
    "       valid_lft forever preferred_lft forever\n"
    "    inet6 fe80::42:acff:fe11:2/64 scope link\n"
    "       valid_lft forever preferred_lft forever\n";

}  // namespace

const std::vector<Document>& Documents() {
  static const std::vector<Document> documents = {
      {.kind = "default", .head = QVX_XML_DEFAULT},
      {.kind = "settings",
       .element = "settings",
       .pattern = "<setting#>value#</setting#>\n",
       .sizes = {1000, 10000, 100000}},
      {.kind = "attributes",
       .element = "hosts",
       .pattern = "<host name=\"host#\" address=\"10.0.0.#\" state=\"up\" "
                  "trust=\"certificate\" rank=\"#\"/>\n",
       .sizes = {500, 5000, 50000}},
      {.kind = "deep", .element = "chains", .pattern = Chain(490), .sizes = {2, 20, 200}},
      {.kind = "lines",
       .element = "log",
       .pattern = "line # of a long text\n",
       .sizes = {10000, 100000, 400000}},
      {.kind = "references",
       .element = "texts",
       .pattern = References("&amp;"),
       .sizes = {100, 1000, 10000}},
      {.kind = "entities",
       .head = "<!DOCTYPE texts [<!ENTITY name \"value\">]>\n",
       .element = "texts",
       .pattern = References("&name;"),
       .sizes = {100, 1000, 10000}},
      {.kind = "mixed",
       .element = "mixed",
       .pattern = "<!-- remark # --><part>text #<![CDATA[raw > & #]]></part><?do it #?>\n",
       .sizes = {1300, 13000, 130000}},
      {.kind = "children",
       .element = "root",
       .pattern = "<item name=\"name#\">text#</item>",
       .sizes = {1000, 10000, 100000}}};
  return documents;
}

std::string DocumentFile(std::string_view kind, size_t size) {
  std::string path =
      ScratchDirectory() + '/' + std::string(kind) + '-' + std::to_string(size) + ".xml";
  for (const Document& document : Documents()) {
    if (document.kind == kind && !std::ifstream(path)) {
      std::ofstream stream(path, std::ios::binary);
      stream << document.head;
      if (!document.element.empty()) {
        stream << Element(document.element, Numbers(size, document.pattern));
      }
    }
  }
  return path;
}

std::string SettingName(size_t index) {
  return Numbered("setting#", index);
}

std::vector<std::string> DottedAddresses(size_t size) {
  std::vector<std::string> addresses;
  addresses.reserve(size);
  for (uint32_t index = 0; index < size; ++index) {
    addresses.push_back(Dotted(kFirstAddress + index));
  }
  return addresses;
}

std::string WidestRanges(size_t size) {
  return Numbers(size, "0.0.0.1-255.255.255.254;");
}

std::string RangesApart(size_t size) {
  std::string entries;
  for (uint32_t first = 0; first < size * kRangeSize; first += kRangeSize) {
    entries += Dotted(first + 1) + '-' + Dotted(first + kRangeSize - 2) + ';';
  }
  return entries;
}

std::string InterfaceText(size_t size) {
  std::string text;
  for (uint32_t index = 0; index < size; ++index) {
    text += Numbered(kInterface, index + 1);
    text += Dotted(kFirstAddress + index - (index % 10 == 9 ? 1 : 0));
    text += Numbered(kInterfaceEnd, index + 1);
  }
  return text;
}

}  // namespace qvx::bench
