// The elements of the settings document with their places in the file.
#ifndef QVX_COMPANION_ELEMENTS_H
#define QVX_COMPANION_ELEMENTS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "companion/forecast.h"

namespace qvx::companion {

struct SeenElement {
  std::string name;
  uint64_t line = 0;  ///< of its start tag; 0 when it does not stand in the file, as in an entity
  size_t depth;       ///< 0: the root
  const DOM_Element* element;
};

/// Returns the elements of the document in their order.
std::vector<SeenElement> ElementsOf(DOM_Document* document, std::string_view text);

/// Returns the elements of the settings document that a start reads; none when that is the default.
std::vector<SeenElement> SettingsElements(const Forecast& forecast);

/// Returns the line of the first element of that name, or 0.
uint64_t LineOf(const std::vector<SeenElement>& elements, std::string_view name);

/// Returns the names that the launcher or the default document knows.
std::vector<std::string> KnownElements(const Forecast& forecast);

/// Returns the known name that `name` is probably meant to be; an empty text when none is near.
std::string NearestName(std::string_view name, const std::vector<std::string>& known);

}  // namespace qvx::companion

#endif
