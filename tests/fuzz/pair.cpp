// Any two files in the place of certificate and key: the facts about them agree with their fate.
#include "tests/fuzz/input.h"
#include "tests/harness/installation.h"
#include "tls/pair_check.h"
#include "tls/pem_files.h"

namespace qvx::test {

void Check(Input input) {
  static const Installation installation;
  WriteText(CertificatePath(), input.Text());
  WriteText(KeyPath(), input.Rest());
  const auto facts = ExaminePair();
  Require(facts.has_value());
  Require(!facts->they_match || (facts->certificate_loads && facts->key_loads));
  Require(!facts->names_host || facts->they_match);
  Require((FateOf(*facts) == PairFate::kSetAside) == !facts->they_match);
}

}  // namespace qvx::test
