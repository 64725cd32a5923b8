// Lets the configuration load log_config_module although it is built into Debian's server. That
// server refuses to load what it finds by name among its built-in modules. So the built-in one is
// renamed as soon as this module is loaded, and a module that does nothing gets the old name.
#include <httpd.h>
// Behind httpd.h, which it needs.
#include <http_config.h>

#include <cstring>
#include <string_view>

namespace {

struct Renaming {
  Renaming() {
    for (module** built_in = ap_preloaded_modules; *built_in != nullptr; ++built_in) {
      if (std::string_view((*built_in)->name) == "mod_log_config.c") {
        // The name is on the heap and never released, because this module is unloaded each time
        // that the configuration is read again.
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
