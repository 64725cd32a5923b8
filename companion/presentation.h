// How the companion writes: aligned and coloured on a terminal, plain in a pipe.
#ifndef QVX_COMPANION_PRESENTATION_H
#define QVX_COMPANION_PRESENTATION_H

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvx::companion {

enum class Colour { kPlain, kBold, kDim, kRed, kYellow, kGreen };

/// Returns whether standard output is a terminal that takes colours (NO_COLOR, TERM).
bool OutputTakesColours();

/// Returns a text in which every control character, every mark that changes the order of the
/// characters, and every byte that is not UTF-8 is in printable form. What stands in a file could
/// otherwise command the terminal, or deceive its reader.
std::string Printable(std::string_view text);

/// The version of the JSON of all commands. It grows when a key goes or changes its meaning.
inline constexpr int kJsonSchema = 1;

/// Returns a text of ASCII, with a line feed at its end, for the same reason. What is not UTF-8 is
/// replaced. An `indent` of -1 gives one line.
std::string JsonText(const nlohmann::ordered_json& json, int indent);

/// Returns the columns of the terminal that standard output is; 0 when it is none.
size_t TerminalWidth();

/// Collects the text of a command.
class Page {
 public:
  /// With a `width`, columns are broken between words to stay in it.
  explicit Page(bool has_colours, size_t width = 0) : has_colours_(has_colours), width_(width) {}

  std::string Painted(Colour colour, std::string_view text) const;
  void Heading(std::string_view text);
  void Line(std::string_view text) { text_.append(text).append("\n"); }
  /// Adds lines of two columns, indented.
  void Columns(const std::vector<std::pair<std::string, std::string>>& rows);

  const std::string& text() const { return text_; }

 private:
  void Wrapped(std::string_view value, size_t indent);

  bool has_colours_;
  size_t width_;
  std::string text_;
};

}  // namespace qvx::companion

#endif
