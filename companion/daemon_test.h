// Asking the daemon itself about the configuration of the next start.
#ifndef QVX_COMPANION_DAEMON_TEST_H
#define QVX_COMPANION_DAEMON_TEST_H

#include <string>

#include "companion/findings.h"
#include "companion/forecast.h"

namespace qvx::companion {

/// Lets the daemon test the configuration of the next start ("-t"), with the rights of the service
/// account, and adds a finding when the daemon refuses it. The settings are the account's, and a
/// line break in one of them becomes a directive that loads and runs what the account likes. The
/// daemon reads its modules in their places. It cannot tell whether it can load a certificate.
void CheckWithDaemon(const Forecast& forecast, Findings& findings);

}  // namespace qvx::companion

#endif
