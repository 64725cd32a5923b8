// Descriptors of web applications switch extensions on and do nothing else.
#include "tests/fuzz/input.h"
#include "tests/harness/installation.h"
#include "webconf/php_ini.h"
#include "webconf/webapp_extensions.h"

namespace qvx::test {

void Check(Input input) {
  static const Installation installation;
  WriteText(installation.base() / "webapp/a.xml", input.Rest());
  const bool is_broken = !BrokenDescriptors().empty();
  Require(CheckWebAppXMLsForExtensions() == 0);
  for (const PHPExtensionEntry& extension : allowablePHPExtensions) {
    Require(extension.isRequested == 0 || extension.isRequested == 1);
    Require(extension.isRequested == 0 || !is_broken);
  }
}

}  // namespace qvx::test
