#include "os/console.h"

#include <string>

#include "os/files.h"

namespace qvx {

namespace {

std::string console_path;

}  // namespace

}  // namespace qvx

int OSOpenConsole(void* /*first*/, void* /*second*/, void* /*third*/, void* /*fourth*/) {
  return 0;
}

void OSCloseConsole(void* /*first*/, void* /*second*/) {}

int OSConsoleSupported() {
  return 1;
}

void OSOutputConsole(const char* text) {
  if (qvx::console_path.empty()) {
    qvx::console_path.append("/console.bug");
  }
  if (const qvx::File file = qvx::OpenFile(qvx::console_path, "ab")) {
    std::fputs(text, file.get());
  }
}
