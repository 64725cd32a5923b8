// The run-time settings record: one process-wide variable per setting, and the bind address list.
//
// Every field has a defined value before the settings are read. The text fields are borrowed from
// the loaded settings document and become null again when the document is released. The program
// itself works on LoadedSettings. The variables serve the public functions that have no other
// arguments, and programs that look at them.
#ifndef QVX_SETTINGS_RECORD_H
#define QVX_SETTINGS_RECORD_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

extern int32_t isIPRestrict;        ///< flag: client addresses are restricted
extern char* sIpRestrictedInclude;  ///< addresses allowed; may be null
extern char* sIpRestrictedExclude;  ///< addresses refused; may be null
extern int32_t isIPBinding;   ///< flag: bind only to the addresses that the binding list selects
extern char* sIpBindingList;  ///< the binding list; may be null
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

/// The settings as one value. Its texts are borrowed like those of the record.
struct LoadedSettings {
  bool restrict_clients;
  char* included_clients;
  char* excluded_clients;
  bool bind_to_selected;
  char* binding_list;
  bool bind_to_wildcard;
  bool rotate_logs;
  int32_t rotate_size;
  const char* log_directory;
  bool refuse_ssl2;
  int32_t max_threads;
  std::string log_level;
};

/// Returns the values of the record's variables.
LoadedSettings RecordedSettings();

/// Puts the settings into the record's variables.
void RecordSettings(const LoadedSettings& settings);

/// Turns the restriction of client addresses off.
void ResetRestriction();

/// Makes the record's text fields null.
void ReleaseTexts();

/// Points gIPList at a new list of the bind addresses, which the record owns, and releases the list
/// that it made before. gVHostPairs becomes the number of bind addresses. `available` is the number
/// of the machine's addresses: the list has room for two entries more. Throws std::bad_alloc.
void RecordBindList(std::span<const std::string> addresses, size_t available);

/// Returns the bind addresses in gIPList; none while gIPList is null.
std::vector<std::string> RecordedBindList();

/// Releases the list that RecordBindList made and makes gIPList null. gVHostPairs keeps its value.
void ReleaseBindList();

}  // namespace qvx

#endif
