// Names for the certificate: a list that the library accepts gives that many names.
#include "tls/certificate.h"

#include <algorithm>

#include "settings/multihomed_names.h"
#include "settings/setting_list.h"
#include "tests/fuzz/input.h"

namespace qvx::test {

void Check(Input input) {
  const std::string list = input.Text();
  if (!IsNameList(list)) {
    return;
  }
  const AlternativeNames names = AlternativeNamesFrom(list);
  size_t entries = 0;
  std::string_view rest = list;
  while (TakeEntry(rest)) {
    ++entries;
  }
  const auto commas = static_cast<size_t>(std::count(names.text.begin(), names.text.end(), ','));
  Require(entries == names.left_out + (names.text.empty() ? 0 : commas + 1));
  Require(!names.text.empty() || !AreAccepted(names));
  AreAccepted(names);
}

}  // namespace qvx::test
