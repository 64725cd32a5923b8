#include "companion/overlaps.h"

#include <algorithm>
#include <optional>
#include <tuple>

#include "companion/subnets.h"

namespace qvx::companion {

namespace {

/// Addresses of an entry that follow each other.
struct Piece {
  Span span;
  bool allows;
  size_t entry;
};

std::vector<Piece> PiecesOf(const std::vector<AccessEntry>& entries) {
  std::vector<Piece> pieces;
  for (size_t i = 0; i < entries.size(); ++i) {
    if (entries[i].text.empty()) {
      continue;
    }
    for (const Span& span : SpansOf(entries[i])) {
      pieces.push_back({span, entries[i].allows, i});
    }
  }
  return pieces;
}

/// Before a piece stand all that may cover it: those that begin earlier, and of those that begin
/// there the longer ones.
bool StandsBefore(const Piece& a, const Piece& b) {
  return std::tuple(a.span.first, b.span.last, a.allows, a.entry) <
         std::tuple(b.span.first, a.span.last, b.allows, b.entry);
}

/// The overlaps of an entry's pieces so far.
struct Tally {
  size_t pieces = 0;
  size_t covered = 0;
  size_t refused = 0;
  std::optional<size_t> other{};
  std::optional<size_t> refuser{};
};

/// Notes what `widest`, the piece of a list that reaches farthest so far, has of `piece`.
void Note(const Piece* widest, const Piece& piece, Tally& tally) {
  if (widest == nullptr || widest->span.last < piece.span.first) {
    return;
  }
  const bool is_covered = widest->span.last >= piece.span.last;
  if (widest->allows == piece.allows) {
    tally.covered += is_covered ? 1 : 0;
    tally.other = widest->entry;
  } else if (is_covered && piece.allows) {
    ++tally.refused;
    tally.refuser = widest->entry;
  }
}

std::vector<Tally> TalliesOf(size_t count, std::vector<Piece> pieces) {
  std::sort(pieces.begin(), pieces.end(), StandsBefore);
  std::vector<Tally> tallies(count);
  const Piece* widest[2] = {};
  for (const Piece& piece : pieces) {
    Tally& tally = tallies[piece.entry];
    ++tally.pieces;
    Note(widest[0], piece, tally);
    Note(widest[1], piece, tally);
    const Piece*& own = widest[piece.allows ? 1 : 0];
    if (own == nullptr || own->span.last < piece.span.last) {
      own = &piece;
    }
  }
  return tallies;
}

}  // namespace

std::vector<Overlap> OverlapsOf(const std::vector<AccessEntry>& entries) {
  std::vector<Overlap> overlaps;
  const std::vector<Tally> tallies = TalliesOf(entries.size(), PiecesOf(entries));
  for (size_t i = 0; i < tallies.size(); ++i) {
    const Tally& tally = tallies[i];
    if (tally.refuser && tally.refused == tally.pieces) {
      overlaps.push_back({Overlap::Kind::kRefused, i, *tally.refuser});
    }
    if (tally.other) {
      const bool is_covered = tally.covered == tally.pieces;
      overlaps.push_back(
          {is_covered ? Overlap::Kind::kCovered : Overlap::Kind::kShared, i, *tally.other});
    }
  }
  return overlaps;
}

}  // namespace qvx::companion
