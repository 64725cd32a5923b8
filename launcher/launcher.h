// The launcher's run modes.
#ifndef QVX_LAUNCHER_LAUNCHER_H
#define QVX_LAUNCHER_LAUNCHER_H

struct apr_pool_t;

/// The launcher's root pool; APR's termination at exit releases it.
extern apr_pool_t* qvx_start_pool;

namespace qvx {

/// Runs the mode that `argument_count`, the program's name included, selects: 1 start, 2
/// reconfigure, 3 permissions. Returns the exit status; in start mode it returns only when the
/// daemon could not be executed. When memory runs out where no operation has a result for it, a
/// line on standard error says so and the status is 1.
int RunLauncher(int argument_count);

}  // namespace qvx

#endif
