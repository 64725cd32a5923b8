#include "dom/names.h"

#include <locale.h>

#include <cstring>

namespace qvx::dom {

bool NamesEqual(const DOM_String* one, const DOM_String* other) {
  return std::strcmp(one, other) == 0 || std::strcoll(one, other) == 0;
}

bool NamesCompareByBytes() {
  return uselocale(nullptr) == LC_GLOBAL_LOCALE &&
         std::strcmp(setlocale(LC_COLLATE, nullptr), "C") == 0;
}

}  // namespace qvx::dom
