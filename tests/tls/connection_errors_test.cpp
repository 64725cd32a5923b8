#include "tls/connection_errors.h"

#include <gtest/gtest.h>

#include <string>

TEST(ConnectionErrors, CodesAndTheirLines) {
  const std::string names[] = {
      "", "SSL", "WANT_READ", "WANT_WRITE", "WANT_X509_LOOKUP", "SYSCALL", "", "WANT_CONNECT", ""};
  for (int code = 0; code <= 8; ++code) {
    SCOPED_TRACE(code);
    testing::internal::CaptureStdout();
    EXPECT_EQ(ZX_Get_SSL_ErrorHandler(&code), code == 6 ? 0 : code);
    const std::string line = "TMK_Get_SSL_ErrorHandler: SSL_ERROR_" + names[code] + "\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), names[code].empty() ? "" : line);
  }
}
