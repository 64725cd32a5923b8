#include "bench/corpus.h"

#include <fstream>
#include <stdexcept>

#include "bench/cases.h"
#include "settings/document.h"

namespace qvx::bench {

namespace {

constexpr size_t kLevels = 490;

// `pattern` for each number below `size`, within the element `element`.
std::string Numbers(size_t size, std::string_view element, std::string_view pattern) {
  std::string text = "<" + std::string(element) + ">";
  for (size_t number = 0; number < size; ++number) {
    text += Numbered(pattern, number);
  }
  return text + "</" + std::string(element) + ">\n";
}

std::string Deep(size_t size) {
  std::string chain;
  for (size_t level = 0; level < kLevels; ++level) {
    chain += "<level>";
  }
  chain += "end";
  for (size_t level = 0; level < kLevels; ++level) {
    chain += "</level>";
  }
  return Numbers(size, "chains", chain + '\n');
}

// Twenty references in a text.
std::string References(size_t size, std::string_view head, std::string_view reference) {
  std::string text(head);
  text += "<texts>\n";
  for (size_t index = 0; index < size; ++index) {
    text += index % 20 == 0 ? "<text>one " : " and ";
    text += reference;
    text += index % 20 == 19 || index + 1 == size ? "</text>\n" : "";
  }
  return text + "</texts>\n";
}

constexpr char kSettings[] = "<setting#>value#</setting#>\n";
constexpr char kAttributes[] =
    "<host name=\"host#\" address=\"10.0.0.#\" state=\"up\" trust=\"certificate\" "
    "rank=\"#\"></host>\n";
constexpr char kLines[] = "line # of a long text\n";
constexpr char kMixed[] = "<!-- remark # --><part>text #<![CDATA[raw > & #]]></part><?do it #?>\n";
constexpr char kChildren[] = "<item name=\"name#\">text#</item>";

}  // namespace

std::string Numbered(std::string_view pattern, size_t number) {
  const std::string digits = std::to_string(number);
  std::string text;
  for (const char c : pattern) {
    if (c == '#') {
      text += digits;
    } else {
      text += c;
    }
  }
  return text;
}

std::string SettingName(size_t index) {
  return Numbered("setting#", index);
}

std::string CorpusText(std::string_view kind, size_t size) {
  struct Kind {
    std::string_view name;
    std::string (*text)(size_t size);
  };
  static constexpr Kind kKinds[] = {
      {"default", [](size_t) -> std::string { return QVX_XML_DEFAULT; }},
      {"settings", [](size_t count) { return Numbers(count, "settings", kSettings); }},
      {"attributes", [](size_t count) { return Numbers(count, "hosts", kAttributes); }},
      {"deep", Deep},
      {"lines", [](size_t count) { return Numbers(count, "log", kLines); }},
      {"references", [](size_t count) { return References(count, "", "&amp;"); }},
      {"entities",
       [](size_t count) {
         return References(count, "<!DOCTYPE texts [<!ENTITY name \"value\">]>\n", "&name;");
       }},
      {"mixed", [](size_t count) { return Numbers(count, "mixed", kMixed); }},
      {"children", [](size_t count) { return Numbers(count, "root", kChildren); }}};
  for (const Kind& known : kKinds) {
    if (known.name == kind) {
      return known.text(size);
    }
  }
  throw std::invalid_argument("no such kind of document");
}

std::string CorpusFile(std::string_view kind, size_t size) {
  std::string path =
      ScratchDirectory() + '/' + std::string(kind) + '-' + std::to_string(size) + ".xml";
  if (!std::ifstream(path)) {
    std::ofstream(path, std::ios::binary) << CorpusText(kind, size);
  }
  return path;
}

}  // namespace qvx::bench
