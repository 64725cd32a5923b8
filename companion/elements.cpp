#include "companion/elements.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "companion/installation.h"
#include "companion/settings_view.h"
#include "settings/document.h"

namespace qvx::companion {

namespace {

/// A construct that is skipped as a whole.
struct Skipped {
  std::string_view start;
  std::string_view end;
};
constexpr Skipped kSkipped[] = {{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}, {"<!", ">"}};

struct StartTag {
  std::string_view name;
  uint64_t line;
};

/// Returns the length of the construct that `text`, which begins with "<", begins with.
size_t ConstructLength(std::string_view text) {
  for (const Skipped& skipped : kSkipped) {
    if (text.starts_with(skipped.start)) {
      const size_t end = text.find(skipped.end, skipped.start.size());
      return end == std::string_view::npos ? text.size() : end + skipped.end.size();
    }
  }
  return 1;
}

/// Returns the start tags of a well-formed text, in their order.
std::vector<StartTag> StartTags(std::string_view text) {
  std::vector<StartTag> tags;
  uint64_t line = 1;
  while (!text.empty()) {
    size_t length = std::min(text.find('<'), text.size());
    if (length == 0) {
      length = ConstructLength(text);
      const std::string_view name = text.substr(1, text.find_first_of(" \t\r\n/>", 1) - 1);
      if (length == 1 && !name.empty()) {
        tags.push_back({name, line});
      }
    }
    const std::string_view taken = text.substr(0, length);
    line += static_cast<uint64_t>(std::count(taken.begin(), taken.end(), '\n'));
    text.remove_prefix(length);
  }
  return tags;
}

size_t DepthOf(const DOM_Node* element) {
  size_t depth = 0;
  for (const DOM_Node* above = element->parentNode; above->parentNode != nullptr;
       above = above->parentNode) {
    ++depth;
  }
  return depth;
}

size_t DistanceOf(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) {
    row[j] = j;
  }
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = std::exchange(row[0], i);
    for (size_t j = 1; j <= b.size(); ++j) {
      const bool is_same = std::tolower(static_cast<unsigned char>(a[i - 1])) ==
                           std::tolower(static_cast<unsigned char>(b[j - 1]));
      const size_t replaced = diagonal + (is_same ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

}  // namespace

std::vector<SeenElement> ElementsOf(DOM_Document* document, std::string_view text) {
  std::vector<SeenElement> elements;
  const NodeListHolder list(DOM_Document_getElementsByTagName(document, "*"), {document});
  if (!list) {
    throw std::bad_alloc();
  }
  for (int32_t i = 0; const DOM_Element* element = DOM_NodeList_item(list.get(), i); ++i) {
    elements.push_back({element->nodeName, 0, DepthOf(element), element});
  }
  const std::vector<StartTag> tags = StartTags(text);
  const auto is_same = [](const SeenElement& element, const StartTag& tag) {
    return element.name == tag.name;
  };
  if (std::equal(elements.begin(), elements.end(), tags.begin(), tags.end(), is_same)) {
    for (size_t i = 0; i < tags.size(); ++i) {
      elements[i].line = tags[i].line;
    }
  }
  return elements;
}

std::vector<SeenElement> SettingsElements(const Forecast& forecast) {
  if (forecast.document_fate != DocumentFate::kRead) {
    return {};
  }
  return ElementsOf(forecast.document.get(), forecast.document_text);
}

uint64_t LineOf(const std::vector<SeenElement>& elements, std::string_view name) {
  const auto found =
      std::find_if(elements.begin(), elements.end(),
                   [name](const SeenElement& element) { return element.name == name; });
  return found == elements.end() ? 0 : found->line;
}

std::vector<std::string> KnownElements(const Forecast& forecast) {
  std::vector<std::string> known;
  const DocumentHolder document = LoadText(QVX_XML_DEFAULT);
  for (const SeenElement& element : ElementsOf(document.get(), "")) {
    known.push_back(element.name);
  }
  for (const EffectiveSetting& setting : EffectiveSettings(forecast)) {
    known.emplace_back(setting.element);
  }
  return known;
}

std::string NearestName(std::string_view name, const std::vector<std::string>& known) {
  constexpr size_t kLetters = 3;  // one wrong letter in so many still makes a name recognisable
  std::string nearest;
  size_t least = std::max<size_t>(1, name.size() / kLetters) + 1;
  for (const std::string& candidate : known) {
    const size_t distance = DistanceOf(name, candidate);
    if (distance < least) {
      least = distance;
      nearest = candidate;
    }
  }
  return nearest;
}

}  // namespace qvx::companion
