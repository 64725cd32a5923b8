// The access module under its old name, and the directive of the configuration that today's server
// no longer knows. mod_access_compat, which is loaded as well, does the work.
#define AP_HAVE_DESIGNATED_INITIALIZER  // without it, the handler would need a cast

#include <httpd.h>
// This header needs httpd.h in front of it.
#include <http_config.h>

namespace {

const char* Accept(cmd_parms*, void*, const char*) {
  return nullptr;
}

const command_rec kDirectives[] = {
    {"SSLMutex", {.take1 = Accept}, nullptr, RSRC_CONF, TAKE1, "Accepted without effect"},
    {nullptr, {nullptr}, nullptr, 0, RAW_ARGS, nullptr},
};

}  // namespace

extern "C" {
extern module AP_MODULE_DECLARE_DATA access_module;
module AP_MODULE_DECLARE_DATA access_module = {
    STANDARD20_MODULE_STUFF, nullptr, nullptr, nullptr, nullptr, kDirectives, nullptr,
    AP_MODULE_FLAG_NONE};
}
