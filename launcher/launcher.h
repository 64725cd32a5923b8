// The launcher's run modes.
#ifndef QVX_LAUNCHER_LAUNCHER_H
#define QVX_LAUNCHER_LAUNCHER_H

struct apr_pool_t;

/// The launcher's root pool. The termination of APR at exit releases it.
extern apr_pool_t* qvx_start_pool;

namespace qvx {

/// Runs the mode that `argument_count` selects, the program's name included: 1 start, 2
/// reconfigure, 3 permissions. Prints the texts that tell why a start is refused. Returns the exit
/// status. A start that succeeds does not return, because the process becomes the daemon. When
/// memory runs out where no operation has a result for it, a line on standard error says so and the
/// status is 1.
int RunLauncher(int argument_count);

}  // namespace qvx

#endif
