// Starting the servlet container, when a web application needs it.
//
// The rules file is "conf/mod_proxy.conf" of the installation. Every failure leaves the container
// off for this run. The log gets a critical record when the tool cannot be run or prints something,
// when the proxy block cannot be added, when the service account is missing, and when the script's
// shell cannot be run. A child that cannot be made is reported on standard error. A start script
// that is missing or fails leaves no trace, and neither does a lack of memory.
#ifndef QVX_WEBCONF_SERVLET_CONTAINER_H
#define QVX_WEBCONF_SERVLET_CONTAINER_H

#include <cstdint>
#include <string>
#include <string_view>

/// The block that is added to every TLS virtual host. It begins with an empty line.
extern const char proxy_conf[];

/// Decides whether the container is needed; if so, adds the proxy block to the server configuration
/// and runs the start script as the service account. Returns 0 when the container is not needed,
/// when the block could not be added, and when memory ran out; -1 when no child could be created;
/// otherwise the wait status of the child that ran the script.
int32_t load_tomcat();

/// Empties the rules file and runs the installation's tool, which writes it. Returns 1 when the
/// file holds rules. Returns 0 when it is empty; and when the decision failed, which is logged and
/// empties the file again.
int32_t check_tomcat_required();

/// Adds the proxy block to the server configuration, whose mode and owner stay. Returns 1; or 0
/// when the configuration could not be read or not be written whole, and it is then as it was.
int32_t config_webapp_proxying();

namespace qvx {

/// Returns `configuration` with `proxy_conf` behind every line that opens a virtual host on port
/// 2381. Text behind the last line feed is dropped. The cost is linear in the text.
std::string WithProxyBlocks(std::string_view configuration);

}  // namespace qvx

#endif
