// The run-time settings record: one process-wide variable per setting, and the bind address list.
//
// Every field has a defined value before the settings are read. The text fields are borrowed from
// the loaded settings document; the reader makes them null again when it releases that document.
#ifndef QVX_SETTINGS_RECORD_H
#define QVX_SETTINGS_RECORD_H

#include <cstddef>
#include <cstdint>

extern int32_t isIPRestrict;  ///< flag: client addresses are restricted
extern char*
    sIpRestrictedInclude;  ///< addresses allowed; may be null; consumed by the access rules
extern char*
    sIpRestrictedExclude;     ///< addresses refused; may be null; consumed by the access rules
extern int32_t isIPBinding;   ///< flag: bind only to the addresses that the binding list selects
extern char* sIpBindingList;  ///< the binding list; may be null; cut in place by SetupIPBindingList
extern int32_t
    bMonitorIPChangesLinux;      ///< flag: with binding off, bind to 127.0.0.1 and the wildcard
extern int32_t bRotateLogs;      ///< flag: the web server's logs go through the rotation program
extern int32_t nRotateLogsSize;  ///< megabytes before rotation; 0 until the settings are read
extern const char*
    sLogBaseDir;  ///< directory of the web server's logs; null: the default log directory
extern int32_t isSSLV2Disabled;  ///< flag: SSL version 2 is refused
extern int32_t nMaxThreads;      ///< worker threads, 25 to 64
extern char sLogLevelString[7];  ///< the web server's log level word

/// Bytes of one bind address: a dotted IPv4 address or "*", zero-terminated.
inline constexpr size_t kBindAddressCapacity = 16;

extern char (*gIPList)[kBindAddressCapacity];  ///< the bind addresses; null until the list is built
extern int32_t gVHostPairs;                    ///< entries of gIPList in use

namespace qvx {

/// Points gIPList at a new, zeroed list of `capacity` entries, which the record owns; a list that
/// it made before is released. gVHostPairs becomes 0.
void MakeBindList(size_t capacity);

/// Releases the list that MakeBindList made; gIPList becomes null. gVHostPairs keeps its value.
void ReleaseBindList();

}  // namespace qvx

#endif
