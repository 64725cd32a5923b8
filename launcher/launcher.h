// The launcher's run modes.
#ifndef QVX_LAUNCHER_LAUNCHER_H
#define QVX_LAUNCHER_LAUNCHER_H

struct apr_pool_t;

/// The launcher's root pool. The termination of APR at exit releases it.
extern apr_pool_t* qvx_start_pool;

namespace qvx {

/// What a refused start prints: without a usable certificate and key; and without settings or
/// without the server's configuration, one text behind the other. The paths in them are those of
/// the default installation in every installation.
inline constexpr char kNoTls[] = "Cannot start application!";
inline constexpr char kNoSettings[] = "Invalid configuration file (/opt/zx/zxqvx/conf/qvxpd.xml). ";
inline constexpr char kAskAdministrator[] =
    "Ask your system administrator to run \"/opt/zx/zxqvx/qvxconfig/qvxconfig.sh\".";

/// Exit statuses of a refused start, and of a start whose daemon could not be executed.
inline constexpr int kRefused = 1;
inline constexpr int kDaemonNotExecuted = 127;

/// The daemon, under the installation directory.
inline constexpr char kDaemonName[] = "/sbin/zxqvxd";

/// Runs the mode that `argument_count` selects, the program's name included: 1 start, 2
/// reconfigure, 3 permissions. Prints the texts that tell why a start is refused. Returns the exit
/// status. A start that succeeds does not return, because the process becomes the daemon. When
/// memory runs out where no operation has a result for it, a line on standard error says so and the
/// status is 1.
int RunLauncher(int argument_count);

}  // namespace qvx

#endif
