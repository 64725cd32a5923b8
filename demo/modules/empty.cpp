// A module that does nothing. It exports the name QVX_MODULE, so it can be loaded under that name.
#include <httpd.h>
// This header needs httpd.h in front of it.
#include <http_config.h>

extern "C" {
extern module AP_MODULE_DECLARE_DATA QVX_MODULE;
module AP_MODULE_DECLARE_DATA QVX_MODULE = {
    STANDARD20_MODULE_STUFF, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    AP_MODULE_FLAG_NONE};
}
