// Descriptors of web applications switch extensions on and do nothing else.
#include <string>

#include "tests/fuzz/input.h"
#include "tests/harness/installation.h"
#include "webconf/php_ini.h"
#include "webconf/webapp_extensions.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const qvx::test::Installation installation;
  qvx::test::WriteText(installation.base() / "webapp/a.xml",
                       {reinterpret_cast<const char*>(data), size});
  const bool is_broken = !qvx::BrokenDescriptors().empty();
  qvx::test::Require(CheckWebAppXMLsForExtensions() == 0);
  for (const PHPExtensionEntry& extension : allowablePHPExtensions) {
    qvx::test::Require(extension.isRequested == 0 || extension.isRequested == 1);
    qvx::test::Require(extension.isRequested == 0 || !is_broken);
  }
  return 0;
}
