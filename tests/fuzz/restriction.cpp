// The blocks of a range cover exactly its addresses, in the order that is promised. Lists of any
// text give whole lines. With QVX_EVERY_RANGE="24 0 1" in the environment, every range of a /24 is
// checked instead.
#include <arpa/inet.h>

#include <charconv>
#include <sstream>

#include "tests/fuzz/input.h"
#include "webconf/access_rules.h"

namespace qvx::test {
namespace {

constexpr uint64_t kTop = 0xFFFFFFFF;

std::string Dotted(uint32_t address) {
  const in_addr network{htonl(address)};
  return inet_ntoa(network);
}

/// A piece of a line: an address, or a block of addresses.
struct Block {
  uint64_t first, last;
};

Block BlockFrom(const std::string& piece) {
  const size_t slash = piece.find('/');
  in_addr address{};
  Require(inet_aton(piece.substr(0, slash).c_str(), &address) != 0);
  const uint64_t first = ntohl(address.s_addr);
  int prefix = 32;
  if (slash != std::string::npos) {
    std::from_chars(piece.data() + slash + 1, piece.data() + piece.size(), prefix);
  }
  const uint64_t size = uint64_t{1} << (32 - prefix);
  Require(first % size == 0);
  return {first, first + size - 1};
}

/// Walks the blocks of a range in their order. The ends of the address space stand behind the
/// others, the highest address first.
void CheckRange(uint32_t start, uint32_t end) {
  const std::string text = AccessDirectives("", Dotted(start) + "-" + Dotted(end));
  std::istringstream line(text.substr(text.find("deny from") + std::strlen("deny from")));
  std::string piece;
  if (start > end || (start == kTop && end == kTop)) {
    Require(!(line >> piece));
    return;
  }
  if (start == 0 && end == kTop) {
    Require(line >> piece && piece == "all");
    return;
  }
  const bool has_zero = start == 0 && end != 0;
  const bool has_top = end == kTop;
  uint64_t next = has_zero ? 1 : start;
  const uint64_t last = has_top ? kTop - 1 : end;
  size_t blocks = 0;
  for (; next <= last; ++blocks) {
    Require(static_cast<bool>(line >> piece));
    const Block block = BlockFrom(piece);
    Require(block.first == next && block.last <= last);
    next = block.last + 1;
  }
  Require(blocks <= 62);
  Require(!has_top || (line >> piece && BlockFrom(piece).first == kTop));
  Require(!has_zero || (line >> piece && piece == "0.0.0.0"));
  Require(!(line >> piece));
}

/// Checks every range in a block of addresses that begins in one part of the block's: `parts` is
/// the prefix length, the number of the part, and how many parts there are.
void CheckEveryRange(const char* parts) {
  std::istringstream numbers(parts);
  uint32_t prefix = 32;
  uint32_t part = 0;
  uint32_t count = 1;
  numbers >> prefix >> part >> count;
  const uint32_t first = 0x0A010000;
  const uint32_t last = first + (1U << (32 - prefix)) - 1;
  for (uint32_t start = first + part; start <= last; start += count) {
    for (uint32_t end = start; end <= last; ++end) {
      CheckRange(start, end);
    }
  }
}

void CheckLists(Input& input) {
  std::string include = input.Text();
  std::string exclude = input.Text();
  const std::string text = AccessDirectives(include, exclude);
  Require(text.starts_with(include.empty() ? "allow from all\n" : "allow from 127.0.0.1\n"));
  Require(text.ends_with('\n'));
  char* cut = GenerateAccessDirectiveStr(include.data(), exclude.data());
  Require(cut == text);
  std::free(cut);
}

}  // namespace

void Check(Input input) {
  if (const char* const parts = std::getenv("QVX_EVERY_RANGE")) {
    CheckEveryRange(parts);
    return;
  }
  const auto start = input.Take<uint32_t>();
  const auto length = input.Take<uint32_t>() >> input.Below(32);
  CheckRange(start, start + length);
  CheckLists(input);
}

}  // namespace qvx::test
