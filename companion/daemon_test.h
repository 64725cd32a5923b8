// Asking the daemon itself about the configuration of the next start.
#ifndef QVX_COMPANION_DAEMON_TEST_H
#define QVX_COMPANION_DAEMON_TEST_H

#include <string>

#include "companion/findings.h"
#include "companion/forecast.h"

namespace qvx::companion {

/// Writes the configuration of the next start to a scratch folder, which is removed again, lets the
/// daemon test it there ("-t"), and adds a finding when the daemon refuses it. The daemon reads its
/// modules and the certificate in their places. Nothing else of this program writes anything.
void CheckWithDaemon(const Forecast& forecast, Findings& findings);

}  // namespace qvx::companion

#endif
