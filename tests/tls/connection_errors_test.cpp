#include "tls/connection_errors.h"

#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include <string>

TEST(ConnectionErrors, CodesAndTheirLines) {
  const struct {
    int code;
    int result;
    std::string name;  // empty: nothing is printed
  } rows[] = {{SSL_ERROR_NONE, 0, ""},
              {SSL_ERROR_SSL, 1, "SSL_ERROR_SSL"},
              {SSL_ERROR_WANT_READ, 2, "SSL_ERROR_WANT_READ"},
              {SSL_ERROR_WANT_WRITE, 3, "SSL_ERROR_WANT_WRITE"},
              {SSL_ERROR_WANT_X509_LOOKUP, 4, "SSL_ERROR_WANT_X509_LOOKUP"},
              {SSL_ERROR_SYSCALL, 5, "SSL_ERROR_SYSCALL"},
              {SSL_ERROR_ZERO_RETURN, 0, ""},
              {SSL_ERROR_WANT_CONNECT, 7, "SSL_ERROR_WANT_CONNECT"},
              {SSL_ERROR_WANT_ACCEPT, 8, ""}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.code);
    testing::internal::CaptureStdout();
    EXPECT_EQ(ZX_Get_SSL_ErrorHandler(&row.code), row.result);
    const std::string line = "TMK_Get_SSL_ErrorHandler: " + row.name + "\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), row.name.empty() ? "" : line);
  }
}
