// The comparison of names. Internal to the document model.
#ifndef QVX_DOM_NAMES_H
#define QVX_DOM_NAMES_H

#include <cstring>

#include "dom/dom.h"

namespace qvx::dom {

/// Whether two names are equal in the order of the locale. The same bytes are in every order.
inline bool NamesEqual(const DOM_String* one, const DOM_String* other) {
  return std::strcmp(one, other) == 0 || std::strcoll(one, other) == 0;
}

}  // namespace qvx::dom

#endif
