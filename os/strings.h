// Text operations under the names that they have on other platforms. Case is folded byte by byte
// with tolower and toupper. A null text equals no text, another null included.
#ifndef QVX_OS_STRINGS_H
#define QVX_OS_STRINGS_H

#include <cstdint>

/// Fold `text` (may be null) in place; return it.
char* strlwr(char* text);
char* strupr(char* text);

/// Compares without regard to case (strcasecmp(3)): 0 when equal, else negative or positive; 1 when
/// either text is null.
int stricmp(const char* a, const char* b);

/// Compares at most `n` characters without regard to case; a negative `n` counts as 0. Returns the
/// difference of the first two characters that differ; 0 when the comparison reached `n`; otherwise
/// the length of `a` minus the length of `b`. Returns 1 when either text is null.
int strnicmp(const char* a, const char* b, int n);

/// Returns the position of the first character that is not white space, which may be the NUL; null
/// for null.
char* TmkRaloSkipWhiteSpace(const char* text);

/// Splits `line` into arguments, in place. `arguments` gets pointers into `line`. It must have room
/// for `maximum` of them or, when `maximum` is 0, for every argument and at least one. Each
/// character of `delimiters` ends an argument, but not inside double quotes nor after the character
/// `comment`. The quotes stay. A non-zero `trim` cuts the line at the first Ctrl-Z, carriage return
/// or line feed and skips white space in front of arguments. Returns the number of arguments. With
/// a `maximum`, the last argument keeps the rest of the line. A null line has no arguments, and
/// null `delimiters` are none.
int strcnargcn(char* line, char** arguments, const char* delimiters, int maximum, char comment,
               int trim);
/// As strcnargcn, with trimming.
int strcnargc(char* line, char** arguments, const char* delimiters, int maximum, char comment);
/// As strcnargcn, with trimming and ";" as the comment character.
int strcnarg(char* line, char** arguments, const char* delimiters, int maximum);
/// As strcnargcn, with trimming, ";" as the comment character and no maximum.
int strcarg(char* line, char** arguments, const char* delimiters);

#endif
