#include "tls/connection_errors.h"

#include <openssl/ssl.h>

#include <cstdio>

int ZX_Get_SSL_Error(const char* function, SSL* connection, int result) {
  const int code = SSL_get_error(connection, result);
  std::printf("Error: Function '%s' failure(%d)\n", function, code);
  return code;
}

int ZX_Get_SSL_ErrorHandler(const int* code) {
  const auto report = [](const char* name) { std::printf("TMK_Get_SSL_ErrorHandler: %s\n", name); };
  switch (*code) {
    case SSL_ERROR_NONE:
    case SSL_ERROR_ZERO_RETURN:
      return SSL_ERROR_NONE;
    case SSL_ERROR_SSL:
      report("SSL_ERROR_SSL");
      break;
    case SSL_ERROR_WANT_READ:
      report("SSL_ERROR_WANT_READ");
      break;
    case SSL_ERROR_WANT_WRITE:
      report("SSL_ERROR_WANT_WRITE");
      break;
    case SSL_ERROR_WANT_X509_LOOKUP:
      report("SSL_ERROR_WANT_X509_LOOKUP");
      break;
    case SSL_ERROR_SYSCALL:
      report("SSL_ERROR_SYSCALL");
      break;
    case SSL_ERROR_WANT_CONNECT:
      report("SSL_ERROR_WANT_CONNECT");
      break;
    default:
      break;
  }
  return *code;
}

int ZX_SSL_Shutdown(SSL* connection) {
  return SSL_shutdown(connection);
}
