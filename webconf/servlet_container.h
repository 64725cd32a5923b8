// Starting the servlet container, when a web application needs it.
//
// The rules file is "conf/mod_proxy.conf" of the installation. Every failure leaves the container
// off for this run, with one critical record in the log.
#ifndef QVX_WEBCONF_SERVLET_CONTAINER_H
#define QVX_WEBCONF_SERVLET_CONTAINER_H

#include <cstdint>
#include <string>
#include <string_view>

/// The block that is added to every TLS virtual host; it opens with an empty line.
extern const char proxy_conf[];

/// Decides whether the container is needed; if so, adds the proxy block to the server configuration
/// and runs the start script as the service account. Returns 0 when it is not needed or the block
/// could not be added, -1 when no child could be created, otherwise the wait status of the child
/// that ran the script.
int32_t load_tomcat();

/// Lets the installation's tool write the rules file. Returns 1 when it holds rules, 0 when it is
/// empty or the decision failed, which is logged and empties it again.
int32_t check_tomcat_required();

/// Adds the proxy block to the server configuration, whose mode and owner stay. Returns 1, or 0
/// when that could not be read or not be written whole; it is then as it was.
int32_t config_webapp_proxying();

namespace qvx {

/// `configuration` with `proxy_conf` behind every line that opens a virtual host on port 2381; text
/// behind the last line feed is dropped. Linear in the text.
std::string WithProxyBlocks(std::string_view configuration);

}  // namespace qvx

#endif
