// The documents that are loaded: the same bytes at every run and on every machine.
#ifndef QVX_BENCH_CORPUS_H
#define QVX_BENCH_CORPUS_H

#include <cstddef>
#include <string>
#include <string_view>

namespace qvx::bench {

/// The kinds and what their size counts:
/// - "default": the default settings document (no size)
/// - "settings": elements of different names, each with a text, on lines of their own
/// - "attributes": empty elements with five attributes each
/// - "deep": chains of 490 elements
/// - "lines": lines of text in one element
/// - "references": references to predefined entities and characters within texts
/// - "entities": references to declared entities within texts
/// - "mixed": comments, CDATA sections, instructions and texts, about 100 bytes for each group
/// - "children": elements of one name with one attribute and a text
std::string CorpusText(std::string_view kind, size_t size);

/// Writes the text to a file of this process. Returns its path.
std::string CorpusFile(std::string_view kind, size_t size);

/// `pattern` with the number in the place of each "#".
std::string Numbered(std::string_view pattern, size_t number);

/// The name of an element of "settings".
std::string SettingName(size_t index);

}  // namespace qvx::bench

#endif
