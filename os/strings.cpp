#include "os/strings.h"

#include <strings.h>

#include <cctype>
#include <cstring>

namespace qvx {

namespace {

int Lower(char character) {
  return std::tolower(static_cast<unsigned char>(character));
}

bool IsSpace(char character) {
  return std::isspace(static_cast<unsigned char>(character)) != 0;
}

/// The characters that end an argument or all splitting.
struct Splitting {
  const char* delimiters;
  char comment;
};

/// Returns the delimiter that ends the argument at `text`, or the end of the line. A comment has no
/// delimiters.
char* FindArgumentEnd(char* text, const Splitting& splitting) {
  bool quoted = false;
  for (; *text != '\0'; ++text) {
    if (*text == '"') {
      quoted = !quoted;
      continue;
    }
    if (quoted) {
      continue;
    }
    if (*text == splitting.comment) {
      return text + std::strlen(text);
    }
    if (std::strchr(splitting.delimiters, *text) != nullptr) {
      break;
    }
  }
  return text;
}

}  // namespace

}  // namespace qvx

char* strlwr(char* text) {
  for (char* position = text; position != nullptr && *position != '\0'; ++position) {
    *position = static_cast<char>(qvx::Lower(*position));
  }
  return text;
}

char* strupr(char* text) {
  for (char* position = text; position != nullptr && *position != '\0'; ++position) {
    *position = static_cast<char>(std::toupper(static_cast<unsigned char>(*position)));
  }
  return text;
}

int stricmp(const char* a, const char* b) {
  return a == nullptr || b == nullptr ? 1 : strcasecmp(a, b);
}

int strnicmp(const char* a, const char* b, int n) {
  if (a == nullptr || b == nullptr) {
    return 1;
  }
  for (int position = 0; position < n; ++position, ++a, ++b) {
    if (*a == '\0' || *b == '\0') {
      return static_cast<int>(std::strlen(a)) - static_cast<int>(std::strlen(b));
    }
    if (const int difference = qvx::Lower(*a) - qvx::Lower(*b); difference != 0) {
      return difference;
    }
  }
  return 0;
}

char* TmkRaloSkipWhiteSpace(const char* text) {
  while (text != nullptr && qvx::IsSpace(*text)) {
    ++text;
  }
  // The caller knows whether its text may be changed, as with strchr(3).
  return const_cast<char*>(text);
}

int strcnargcn(char* line, char** arguments, const char* delimiters, int maximum, char comment,
               int trim) {
  if (line == nullptr) {
    return 0;
  }
  if (trim != 0) {
    line[std::strcspn(line, "\x1A\r\n")] = '\0';
    line = TmkRaloSkipWhiteSpace(line);
  }
  arguments[0] = line;
  for (int count = 0;; ++count) {
    if (trim != 0) {
      line = TmkRaloSkipWhiteSpace(line);
    }
    if (*line == '\0') {
      return count;
    }
    arguments[count] = line;
    if (maximum > 0 && count == maximum - 1) {
      return count + 1;
    }
    line = qvx::FindArgumentEnd(line, {delimiters == nullptr ? "" : delimiters, comment});
    if (*line != '\0') {
      *line++ = '\0';
    }
  }
}

int strcnargc(char* line, char** arguments, const char* delimiters, int maximum, char comment) {
  return strcnargcn(line, arguments, delimiters, maximum, comment, 1);
}

int strcnarg(char* line, char** arguments, const char* delimiters, int maximum) {
  return strcnargc(line, arguments, delimiters, maximum, ';');
}

int strcarg(char* line, char** arguments, const char* delimiters) {
  return strcnarg(line, arguments, delimiters, 0);
}
