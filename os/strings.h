// Text operations under their names on other platforms. Case is folded byte by byte with tolower
// and toupper.
#ifndef QVX_OS_STRINGS_H
#define QVX_OS_STRINGS_H

#include <cstdint>

/// Fold `text` in place; return it.
char* strlwr(char* text);
char* strupr(char* text);

/// Compares without regard to case (strcasecmp(3)): 0 when equal, else negative or positive.
int stricmp(const char* a, const char* b);

/// Compares at most `n` characters without regard to case. Returns the difference of the first two
/// that differ; 0 when the comparison reached `n`, which a negative `n` counts as; otherwise the
/// length of `a` minus the length of `b`.
int strnicmp(const char* a, const char* b, int n);

/// The first character of `text` that is not white space.
char* TmkRaloSkipWhiteSpace(const char* text);

/// Splits `line` into arguments, in place. `arguments` must have room for `maximum` pointers, or
/// for every argument, at least one, when `maximum` is 0; they point into `line`. `delimiters`
/// holds the characters that end an argument; inside double quotes, which stay, and after `comment`
/// they do not. A non-zero `trim` cuts the line at the first Ctrl-Z, carriage return or line feed
/// and skips white space in front of arguments. Returns the number of arguments; with a `maximum`,
/// the last one keeps the rest of the line.
int strcnargcn(char* line, char** arguments, const char* delimiters, int maximum, char comment,
               int trim);
/// With trimming.
int strcnargc(char* line, char** arguments, const char* delimiters, int maximum, char comment);
/// With trimming and ";" for comments.
int strcnarg(char* line, char** arguments, const char* delimiters, int maximum);
/// With trimming, ";" for comments and no maximum.
int strcarg(char* line, char** arguments, const char* delimiters);

#endif
