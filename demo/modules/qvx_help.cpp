// Answers requests to the console's handlers with a line that names the handler.
#include <httpd.h>
// These headers need httpd.h in front of them.
#include <http_config.h>
#include <http_protocol.h>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace {

constexpr std::string_view kHandlers[] = {"qvx_config_handler", "qvx_bc_handler", "qvx_ui_handler",
                                          "qvx_help_handler", "pkcs-handler"};

int Answer(request_rec* request) {
  if (request->handler == nullptr || std::find(std::begin(kHandlers), std::end(kHandlers),
                                               request->handler) == std::end(kHandlers)) {
    return DECLINED;
  }
  ap_set_content_type(request, "text/plain");
  ap_rprintf(request, "%s answers here in a full installation.\n", request->handler);
  return OK;
}

void RegisterHooks(apr_pool_t*) {
  ap_hook_handler(Answer, nullptr, nullptr, APR_HOOK_MIDDLE);
}

}  // namespace

extern "C" {
extern module AP_MODULE_DECLARE_DATA qvx_help_module;
module AP_MODULE_DECLARE_DATA qvx_help_module = {
    STANDARD20_MODULE_STUFF, nullptr, nullptr, nullptr, nullptr, nullptr, RegisterHooks,
    AP_MODULE_FLAG_NONE};
}
