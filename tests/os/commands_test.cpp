#include "os/commands.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <csignal>

#include "os/files.h"
#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"

namespace qvx::test {
namespace {

TEST(CapturedCommand, StoresWhatFirstReadReturned) {
  // The last field is what the buffer begins with; the rest must be untouched.
  const std::tuple<const char*, uint32_t, std::string> rows[] = {
      {"printf '12345\\n'", 250, {"12345\n\0", 7}},
      {"true", 250, ""},
      {"printf x", 1, ""},
      {"printf a | tr a b; exit 3", 250, {"b\0", 2}},
      {"printf %01000d 7", 250, std::string(249, '0') + '\0'},
  };
  for (const auto& [command, size, stored] : rows) {
    std::string buffer(300, '#');
    EXPECT_EQ(process_linux_cmd(command, buffer.data(), size), 0);
    EXPECT_EQ(buffer, stored + std::string(300 - stored.size(), '#')) << command << " " << size;
  }
}

TEST(CapturedCommand, NeitherHurtByUnreadOutputNorWaitedForBeyondItsEnd) {
  const TempDirectory directory;
  std::filesystem::current_path(directory.path());
  const char* const commands[] = {
      "for i in $(seq 1000); do printf %01000d 0; done; sleep 60 & echo $! > pid",
      "printf 00000; while :; do printf more; done & echo $! > pid",
      "sleep 60 & echo $! > pid",
  };
  for (const char* command : commands) {
    char output[6] = "00000";
    std::filesystem::remove("pid");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(process_linux_cmd(command, output, sizeof(output)), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20)) << command;
    EXPECT_STREQ(output, "00000");
    kill(std::stoi(Contents("pid").value()), SIGKILL);
  }
}

TEST(CapturedCommand, SurvivesSignalsAndClosedStandardStreams) {
  for (unsigned closed = 0; closed < 8; ++closed) {
    const int status = RunIsolated(0, [closed] {
      for (int descriptor = 0; descriptor < 3; ++descriptor) {
        (closed >> descriptor & 1U) != 0 ? close(descriptor) : 0;
      }
      struct sigaction action {};
      action.sa_handler = [](int) {};
      const itimerval every_millisecond{{0, 1000}, {0, 1000}};
      char output[10] = "";
      const int result =
          sigaction(SIGALRM, &action, nullptr) |
          setitimer(ITIMER_REAL, &every_millisecond, nullptr) |
          process_linux_cmd("sleep 0.03; printf out; exec >&-; sleep 0.03", output, sizeof(output));
      return result == 0 && output == std::string("out") && WaitForChild(-1) == -1
                 ? 0
                 : 1;  // and no child is left
    });
    EXPECT_EQ(status, 0) << "closed: " << closed;
  }
}

TEST(Commands, ChildrenInheritOnlyStandardStreams) {
  const TempDirectory root;
  const std::string path = root.path() / "file";
  const int status = RunIsolated(0, [&path] {
    close_range(3, ~0U, 0);
    const Descriptor locked(sopen(path.c_str(), O_RDWR, F_WRLCK, 0600));
    const File file = OpenFile(path, "rb+");
    const CommandStream stream = OpenCommand("cat");
    const Descriptor directory = OpenDirectory("/");
    char output[100] = "";
    process_linux_cmd("exec ls -m /proc/self/fd", output, sizeof(output));
    EXPECT_STREQ(output, "0, 1, 2, 3\n");  // 3 is the listing's own
    return FailuresAsStatus();
  });
  EXPECT_EQ(status, 0);
}

TEST(Commands, FailuresAreReported) {
  const TempDirectory directory;
  const std::string errors = directory.path() / "errors";
  const std::pair<std::string, int> rows[] = {
      {"execute_linux_cmd: fork() failed! \n", 0},
      {"execute_linux_cmd: child's execv failed!\n", 1},
      {"process_linux_cmd: pipe() failed! \n", -1},
      {"process_linux_cmd: fork() failed! \n", -1},
      {"process_linux_cmd: child's execv failed!\n", 0},
  };
  for (const auto& row : rows) {
    const std::string& text = row.first;
    const int status = RunIsolated(CLONE_NEWNS, [&] {
      dup2(Descriptor(open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600)).get(),
           STDERR_FILENO);
      const rlimit none{0, 0};
      const int spoilt = text[19] == 'f'   ? setrlimit(RLIMIT_NPROC, &none) | setuid(65534)
                         : text[19] == 'p' ? setrlimit(RLIMIT_NOFILE, &none)
                                           : mount("/dev/null", kShell, "", MS_BIND, nullptr);
      char output[2] = "";
      const int result =
          text[0] == 'p' ? process_linux_cmd("printf x", output, 2) : execute_linux_cmd("true");
      return spoilt == 0 && result == row.second && output[0] == '\0' ? 0 : 1;
    });
    EXPECT_EQ(status, 0) << text;
    EXPECT_EQ(Contents(errors), text);
  }
}

}  // namespace
}  // namespace qvx::test
