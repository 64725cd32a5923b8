// Installations as they are found in the field: healthy, odd and broken, chosen by a number.
#ifndef QVX_TESTS_COMPANION_RANDOM_INSTALLATION_H
#define QVX_TESTS_COMPANION_RANDOM_INSTALLATION_H

#include <cstdint>
#include <ctime>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "tests/harness/installation.h"

namespace qvx::test {

/// A certificate and its key as PEM texts.
struct PemPair {
  std::string certificate;
  std::string key;
};

/// A pair of the launcher's own for a host. Its certificate ends at `end`.
PemPair MakePair(const std::string& host, time_t end, int bits = 2048);

/// The pairs that installations are given.
struct PairStock {
  PemPair ours;            ///< the launcher's own, for this host
  PemPair ours_elsewhere;  ///< the launcher's own, for another host
  PemPair foreign;         ///< someone else's, for another host
};
PairStock MakePairs();

/// Lays out one installation. `output` is the file that "/sbin/ip" prints.
class RandomInstallation {
 public:
  RandomInstallation(uint32_t number, const PairStock& pairs, const std::string& output);

  std::filesystem::path base() const { return installation_.base(); }
  std::filesystem::path tls() const { return installation_.tls(); }
  bool regenerates() const { return regenerates_; }

 private:
  bool OneIn(uint32_t count) { return random_() % count == 0; }
  std::string Any(std::initializer_list<const char*> texts);
  std::string Value(const std::string& element);
  std::string Document();
  void Spoil(std::string& document);
  void LayOutSettings();
  void PutOdd(const std::filesystem::path& path);
  void LayOutFiles();
  void LayOutPrograms();
  void LayOutPair(const PairStock& pairs);
  void LayOutDescriptors();
  std::string Addresses();

  const Installation installation_;
  std::minstd_rand random_;
  bool regenerates_;
};

}  // namespace qvx::test

#endif
