#include "bench/documents.h"

#include <algorithm>
#include <iterator>

namespace qvx::bench {

void Tally::AddText(std::string_view text) {
  const auto is_space = [](char c) { return c == ' ' || c == '\n'; };
  characters +=
      text.size() - static_cast<size_t>(std::count_if(text.begin(), text.end(), is_space));
}

std::string Tally::Text() const {
  return std::to_string(elements) + " elements, " + std::to_string(attributes) + " attributes, " +
         std::to_string(comments) + " comments, " + std::to_string(instructions) +
         " instructions, " + std::to_string(characters) + " characters";
}

std::string StartTags(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  const std::string text(std::istreambuf_iterator<char>(stream), {});
  size_t tags = 0;
  for (size_t place = text.find('<'); place < text.size(); place = text.find('<', place + 1)) {
    const char next = text.c_str()[place + 1];
    tags += next != '/' && next != '?' && next != '!' ? 1 : 0;
  }
  return std::to_string(tags) + " start tags";
}

const std::vector<Corpus>& LoadedCorpora() {
  static const std::vector<Corpus> corpora = {{"default", {}},
                                              {"settings", {1000, 10000, 100000}},
                                              {"attributes", {500, 5000, 50000}},
                                              {"deep", {2, 20, 200}, 2},
                                              {"lines", {10000, 100000, 400000}},
                                              {"references", {2000, 20000, 200000}},
                                              {"entities", {2000, 20000, 200000}},
                                              {"mixed", {1100, 11000, 110000}}};
  return corpora;
}

const std::vector<Corpus>& SavedCorpora() {
  static const std::vector<Corpus> corpora = {{"default", {}},
                                              {"settings", {1000, 10000, 100000}},
                                              {"attributes", {500, 5000, 50000}},
                                              {"deep", {2, 20, 200}, 2},
                                              {"lines", {10000, 100000, 400000}},
                                              {"mixed", {1100, 11000, 110000}}};
  return corpora;
}

}  // namespace qvx::bench
