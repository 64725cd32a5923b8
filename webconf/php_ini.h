// The script engine's settings file.
#ifndef QVX_WEBCONF_PHP_INI_H
#define QVX_WEBCONF_PHP_INI_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// The settings file, under the installation directory.
inline constexpr char kPhpIniName[] = "/bin/php.ini";

/// An extension of the script engine that may be loaded.
struct PHPExtensionEntry {
  int32_t isRequested;     ///< 1 when a web-application descriptor names it
  int32_t isAlwaysLoaded;  ///< non-zero: written whether requested or not
  const char* sName;       ///< the name that descriptors use, in any case
  const char* sIniLine;    ///< the line of the settings file, with its line feed
};

inline constexpr int32_t nNumPHPExtensionsAllowable = 2;
extern PHPExtensionEntry allowablePHPExtensions[nNumPHPExtensionsAllowable];

/// Writes "bin/php.ini" of the installation from the table's flags and protects it. Returns 1; or 0
/// when the file could not be written whole, and an old one is then as it was. The other writers
/// return the opposite.
int32_t CreatePHPINIFile();

namespace qvx {

/// Returns the text of the settings file.
std::string PhpIniText(std::string_view installation_directory,
                       std::span<const PHPExtensionEntry> extensions);

}  // namespace qvx

#endif
