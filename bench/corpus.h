// What is loaded, generated and parsed: the same bytes at every run and on every machine.
#ifndef QVX_BENCH_CORPUS_H
#define QVX_BENCH_CORPUS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qvx::bench {

/// A kind of document: its head, then an element that repeats a pattern, with the number in the
/// place of each "#". A document without an element is its head alone.
struct Document {
  std::string kind;
  std::string head = {};
  std::string element = {};
  std::string pattern = {};
  std::vector<size_t> sizes = {};  ///< those of the report, in repetitions
};
const std::vector<Document>& Documents();

/// Writes a document to a file of this process. Returns its path.
std::string DocumentFile(std::string_view kind, size_t size);

/// The name of an element of the document "settings".
std::string SettingName(size_t index);

/// Different addresses from 10.0.0.1 upwards.
std::vector<std::string> DottedAddresses(size_t size);

/// Entries of the range that becomes the most blocks, 62.
std::string WidestRanges(size_t size);

/// At most 131072 ranges that neither meet nor overlap, of 28 blocks each.
std::string RangesApart(size_t size);

/// What the interface command prints for so many addresses. Every tenth interface has the address
/// of the one before it.
std::string InterfaceText(size_t size);

}  // namespace qvx::bench

#endif
