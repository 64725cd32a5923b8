#include "webconf/php_ini.h"

#include <new>

#include "os/directories.h"
#include "os/service_files.h"

PHPExtensionEntry allowablePHPExtensions[nNumPHPExtensionsAllowable] = {
    {0, 1, "DOMXML", "extension=php_domxml\n"},
    {0, 0, "OPENSSL", "extension=php_openssl\n"},
};

namespace qvx {

std::string PhpIniText(std::string_view installation_directory,
                       std::span<const PHPExtensionEntry> extensions) {
  std::string text;
  text.append("extension_dir=").append(installation_directory).append("/modules/\n");
  text.append("session.save_path=").append(installation_directory).append("/session/php\n");
  text.append("max_execution_time=60\n");
  for (const PHPExtensionEntry& extension : extensions) {
    if (extension.isRequested != 0 || extension.isAlwaysLoaded != 0) {
      text.append(extension.sIniLine);
    }
  }
  return text.append(R"ini(
;Magic quotes
magic_quotes_gpc = Off
magic_quotes_runtime = Off
magic_quotes_sybase = Off

;Include Path
include_path = .

;Error Report
error_reporting = E_COMPILE_ERROR|E_ERROR|E_CORE_ERROR|E_PARSE
)ini");
}

}  // namespace qvx

int32_t CreatePHPINIFile() {
  try {
    const std::string text = qvx::PhpIniText(qvx::InstallationPath(), allowablePHPExtensions);
    const std::string path = qvx::InstallationPath(kPhpIniName);
    return qvx::WriteServiceFile(path, text) ? 1 : 0;
  } catch (const std::bad_alloc&) {
    return 0;
  }
}
