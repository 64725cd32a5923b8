// Lets the configuration load log_config_module although it is built into Debian's server. The
// server refuses to load a module that has the name of a built-in one. So this module renames the
// built-in one as soon as it is loaded, and a module that does nothing gets the old name.
#include <httpd.h>
// This header needs httpd.h in front of it.
#include <http_config.h>

#include <cstring>
#include <string_view>

namespace {

struct Renaming {
  Renaming() {
    for (module** built_in = ap_preloaded_modules; *built_in != nullptr; ++built_in) {
      if (std::string_view((*built_in)->name) == "mod_log_config.c") {
        // The name is on the heap and never released, because this module is unloaded each time the
        // configuration is read again.
        (*built_in)->name = strdup("built_in_log_config.c");
      }
    }
  }
};
const Renaming kRenaming;

}  // namespace

extern "C" {
extern module AP_MODULE_DECLARE_DATA rename_built_in_module;
module AP_MODULE_DECLARE_DATA rename_built_in_module = {
    STANDARD20_MODULE_STUFF, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    AP_MODULE_FLAG_NONE};
}
