// The run-time settings record: the settings as process-wide variables, and the bind address list.
//
// Every field has a defined value before the settings are read. The text fields are borrowed from
// the loaded settings document and become null again when the document is released. The program
// itself works on LoadedSettings. The record serves the public functions that have no other
// arguments, and the variables programs that look at them. A setting needs no variable.
#ifndef QVX_SETTINGS_RECORD_H
#define QVX_SETTINGS_RECORD_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "settings/reader.h"

// The meanings are those of the fields of LoadedSettings. Flags are 0 or 1.
extern int32_t isIPRestrict;            ///< restrict_clients
extern char* sIpRestrictedInclude;      ///< included_clients
extern char* sIpRestrictedExclude;      ///< excluded_clients
extern int32_t isIPBinding;             ///< bind_to_selected
extern char* sIpBindingList;            ///< binding_list
extern int32_t bMonitorIPChangesLinux;  ///< bind_to_wildcard
extern int32_t bRotateLogs;             ///< rotate_logs
extern int32_t nRotateLogsSize;         ///< rotate_size
extern const char* sLogBaseDir;         ///< log_directory
extern int32_t isSSLV2Disabled;         ///< refuse_ssl2
extern int32_t nMaxThreads;             ///< max_threads
extern char sLogLevelString[7];         ///< log_level

/// Bytes of one bind address: a dotted IPv4 address or "*", zero-terminated.
inline constexpr size_t kBindAddressCapacity = 16;

extern char (*gIPList)[kBindAddressCapacity];  ///< the bind addresses; null until the list is built
extern int32_t gVHostPairs;                    ///< entries of gIPList in use

namespace qvx {

/// Returns the settings in the record. Its variables decide.
LoadedSettings RecordedSettings();

/// Puts the settings into the record and its variables.
void RecordSettings(const LoadedSettings& settings);

/// Turns the restriction of client addresses off.
void ResetRestriction();

/// Makes the record's text fields null. Settings without a variable are then as before reading.
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
