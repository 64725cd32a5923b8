// A module that does nothing and exports the name QVX_MODULE, so that loading it under that name
// succeeds.
#include <httpd.h>
// Behind httpd.h, which it needs.
#include <http_config.h>

extern "C" {
extern module AP_MODULE_DECLARE_DATA QVX_MODULE;
module AP_MODULE_DECLARE_DATA QVX_MODULE = {
    STANDARD20_MODULE_STUFF, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    AP_MODULE_FLAG_NONE};
}
