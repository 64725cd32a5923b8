// The addresses of an access directive, as the web server reads them: with its own library.
#ifndef QVX_COMPANION_SUBNETS_H
#define QVX_COMPANION_SUBNETS_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct apr_pool_t;

namespace qvx::companion {

/// What the web server makes of one word of an "allow from" or "deny from" line.
enum class WordKind {
  kAll,
  kSubnet,
  kHostName,  ///< compared with the client's name in the name service
  kOther,     ///< a variable, or in quotes: the server takes it for another word
  kRefused,   ///< the server refuses the configuration
};

/// IPv4 addresses from `first` to `last`, in host order.
struct Span {
  uint32_t first;
  uint32_t last;
};

/// Reads words and compares addresses with them. It starts APR and ends it.
class Subnets {
 public:
  Subnets();
  ~Subnets();
  Subnets(const Subnets&) = delete;
  Subnets& operator=(const Subnets&) = delete;
  Subnets(Subnets&&) = delete;
  Subnets& operator=(Subnets&&) = delete;

  WordKind KindOf(const std::string& word) const;

  /// Returns whether a client with this IPv4 or IPv6 address matches the word. A host name never
  /// does, because no name is looked up.
  bool Matches(const std::string& word, const std::string& address) const;

  static bool IsAddress(const std::string& address);

 private:
  apr_pool_t* pool_ = nullptr;
};

/// Returns the IPv4 addresses of a word; nothing for a host name and for what is refused.
std::optional<Span> SpanOf(const std::string& word);

}  // namespace qvx::companion

#endif
