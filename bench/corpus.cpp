#include "bench/corpus.h"

#include <fstream>
#include <stdexcept>

#include "bench/cases.h"
#include "settings/document.h"

namespace qvx::bench {

namespace {

constexpr size_t kLevels = 490;

std::string Settings(size_t size) {
  std::string text = "<settings>\n";
  for (size_t index = 0; index < size; ++index) {
    const std::string name = SettingName(index);
    text += '<' + name + '>' + SettingText(index) + "</" + name + ">\n";
  }
  return text + "</settings>\n";
}

std::string Attributes(size_t size) {
  std::string text = "<hosts>\n";
  for (size_t index = 0; index < size; ++index) {
    const std::string number = std::to_string(index);
    text += "<host name=\"host" + number + "\" address=\"10.0.0." + number +
            "\" state=\"up\" trust=\"certificate\" rank=\"" + number + "\"></host>\n";
  }
  return text + "</hosts>\n";
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
  std::string text = "<chains>\n";
  for (size_t index = 0; index < size; ++index) {
    text += chain + '\n';
  }
  return text + "</chains>\n";
}

std::string Lines(size_t size) {
  std::string text = "<log>";
  for (size_t index = 0; index < size; ++index) {
    text += "line " + std::to_string(index) + " of a long text\n";
  }
  return text + "</log>\n";
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

std::string Mixed(size_t size) {
  std::string text = "<mixed>\n";
  for (size_t index = 0; index < size; ++index) {
    const std::string number = std::to_string(index);
    text += "<!-- remark " + number + " --><part>text " + number + "<![CDATA[raw > & " + number +
            "]]></part><?do it " + number + "?>\n";
  }
  return text + "</mixed>\n";
}

std::string Children(size_t size) {
  std::string text = "<root>";
  for (size_t index = 0; index < size; ++index) {
    const std::string number = std::to_string(index);
    text += "<item name=\"name" + number + "\">text" + number + "</item>";
  }
  return text + "</root>\n";
}

}  // namespace

std::string SettingName(size_t index) {
  return "setting" + std::to_string(index);
}

std::string SettingText(size_t index) {
  return "value" + std::to_string(index);
}

std::string CorpusText(std::string_view kind, size_t size) {
  struct Kind {
    std::string_view name;
    std::string (*text)(size_t size);
  };
  static constexpr Kind kKinds[] = {
      {"default", [](size_t) -> std::string { return QVX_XML_DEFAULT; }},
      {"settings", Settings},
      {"attributes", Attributes},
      {"deep", Deep},
      {"lines", Lines},
      {"references", [](size_t count) { return References(count, "", "&amp;"); }},
      {"entities",
       [](size_t count) {
         return References(count, "<!DOCTYPE texts [<!ENTITY name \"value\">]>\n", "&name;");
       }},
      {"mixed", Mixed},
      {"children", Children}};
  for (const Kind& known : kKinds) {
    if (known.name == kind) {
      return known.text(size);
    }
  }
  throw std::invalid_argument("no such kind of document");
}

std::string CorpusFile(std::string_view kind, size_t size) {
  const std::string path =
      ScratchDirectory() + '/' + std::string(kind) + '-' + std::to_string(size) + ".xml";
  if (!std::ifstream(path)) {
    std::ofstream(path, std::ios::binary) << CorpusText(kind, size);
  }
  return path;
}

}  // namespace qvx::bench
