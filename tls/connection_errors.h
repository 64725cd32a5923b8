// Error reporting for code that runs TLS connections. The launcher has no such code.
#ifndef QVX_TLS_CONNECTION_ERRORS_H
#define QVX_TLS_CONNECTION_ERRORS_H

#include <openssl/types.h>

/// Prints "Error: Function '<function>' failure(<code>)" with the library's error code for `result`
/// to standard output. Returns the code (SSL_get_error(3)).
int ZX_Get_SSL_Error(const char* function, SSL* connection, int result);

/// Prints one line to standard output for an error code that has one, and nothing for any other.
/// Returns the code; 0 for a closed connection.
int ZX_Get_SSL_ErrorHandler(const int* code);

/// Returns the result of SSL_shutdown(3).
int ZX_SSL_Shutdown(SSL* connection);

#endif
