#include "os/commands.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>

#include "os/account_child.h"
#include "os/files.h"
#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"

namespace qvx::test {
namespace {

// What a command leaves behind goes on until it is ended here, so whoever waited for it would never
// return.
TEST(CapturedCommand, StoresWhatFirstReadReturnedAndWaitsForNothingMore) {
  const TempDirectory directory;
  std::filesystem::current_path(directory.path());
  const struct {
    const char* name;
    const char* command;
    uint32_t size;
    std::string stored;  // what the buffer begins with; the rest stays untouched
  } rows[] = {
      {"line", "printf '12345\\n'", 250, {"12345\n\0", 7}},
      {"room for the end only", "printf x", 1, ""},
      {"failing command", "printf a | tr a b; exit 3", 250, {"b\0", 2}},
      {"more than fits", "printf %01000d 7", 250, std::string(249, '0') + '\0'},
      {"much output, then silence",
       "for i in $(seq 1000); do printf %01000d 0; done; sleep infinity & echo $! >pid",
       6,
       {"00000\0", 6}},
      {"output without end",
       "printf 00000; while :; do printf more; done & echo $! >pid",
       6,
       {"00000\0", 6}},
      {"no output", "sleep infinity & echo $! >pid", 6, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::string buffer(300, '#');
    EXPECT_EQ(process_linux_cmd(row.command, buffer.data(), row.size), 0);
    EXPECT_EQ(buffer, row.stored + std::string(300 - row.stored.size(), '#'));
    if (const auto left_behind = Contents("pid")) {
      EXPECT_EQ(kill(std::stoi(*left_behind), SIGKILL), 0);
      std::filesystem::remove("pid");
    }
  }
}

void InterruptEveryMillisecond() {
  struct sigaction action = {};
  action.sa_handler = [](int) {};
  const itimerval every_millisecond{{0, 1000}, {0, 1000}};
  EXPECT_EQ(sigaction(SIGALRM, &action, nullptr), 0);
  EXPECT_EQ(setitimer(ITIMER_REAL, &every_millisecond, nullptr), 0);
}

TEST(CapturedCommand, SurvivesSignalsAndClosedStandardStreams) {
  for (unsigned closed = 0; closed < 8; ++closed) {
    SCOPED_TRACE("closed: " + std::to_string(closed));
    PassIsolated(0, [closed] {
      for (int descriptor = 0; descriptor < 3; ++descriptor) {
        if ((closed >> descriptor & 1U) != 0) {
          close(descriptor);
        }
      }
      InterruptEveryMillisecond();
      char output[10] = "";
      EXPECT_EQ(
          process_linux_cmd("sleep 0.03; printf out; exec >&-; sleep 0.03", output, sizeof output),
          0);
      EXPECT_STREQ(output, "out");
      EXPECT_EQ(WaitForChild(-1), -1) << "no child is left";
    });
  }
}

TEST(Commands, ChildrenInheritOnlyStandardStreams) {
  const TempDirectory root;
  PassIsolated(0, [&root] {
    const std::string path = root.path() / "file";
    close_range(3, ~0U, 0);
    const Descriptor locked(sopen(path.c_str(), O_RDWR, F_WRLCK, 0600));
    const File file = OpenFile(path, "rb+");
    const CommandStream stream = OpenCommand("cat");
    const Descriptor directory = OpenDirectory("/");
    char output[100] = "";
    process_linux_cmd("exec ls -m /proc/self/fd", output, sizeof output);
    EXPECT_STREQ(output, "0, 1, 2, 3\n");  // 3 is the listing's own
  });
}

// A protection of the account's gives the group of its name, also where that is not its first one.
TEST(Commands, OfTheAccountHaveItsGroupsAlone) {
  const std::string owner = ServiceOwner();
  const std::string group = owner.substr(owner.find(':') + 1);
  PassIsolated(CLONE_NEWNS, [&] {
    const TempDirectory scratch;
    for (const bool is_first : {true, false}) {
      SCOPED_TRACE(is_first);
      if (!is_first) {
        const std::string users = scratch.path() / "passwd";
        EXPECT_EQ(
            std::system(("sed 's/^\\(zxqvx:[^:]*:[^:]*\\):[^:]*/\\1:65534/' /etc/passwd >" + users)
                            .c_str()),
            0);
        EXPECT_EQ(mount(users.c_str(), "/etc/passwd", "", MS_BIND, nullptr), 0);
      }
      testing::internal::CaptureStdout();
      EXPECT_EQ(RunCommand("echo $(id -G)", Rights::kAccount), 1);
      EXPECT_EQ(testing::internal::GetCapturedStdout(), (is_first ? "" : "65534 ") + group + '\n');
    }
  });
}

void HaveNoProcess() {
  const rlimit none{0, 0};
  EXPECT_EQ(setrlimit(RLIMIT_NPROC, &none), 0);
  EXPECT_EQ(setuid(65534), 0);
}

void HaveNoDescriptor() {
  const rlimit none{0, 0};
  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
}

void HaveNoShell() {
  EXPECT_EQ(mount("/dev/null", kShell, "", MS_BIND, nullptr), 0);
}

TEST(Commands, FailuresAreReported) {
  const TempDirectory directory;
  const std::string errors = directory.path() / "errors";
  const struct {
    void (*fail)();
    bool is_captured;
    int result;
    const char* error;
  } rows[] = {
      {HaveNoProcess, false, 0, "execute_linux_cmd: fork() failed! \n"},
      {HaveNoShell, false, 1, "execute_linux_cmd: child's execv failed!\n"},
      {HaveNoDescriptor, true, -1, "process_linux_cmd: pipe() failed! \n"},
      {HaveNoProcess, true, -1, "process_linux_cmd: fork() failed! \n"},
      {HaveNoShell, true, 0, "process_linux_cmd: child's execv failed!\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.error);
    PassIsolated(CLONE_NEWNS, [&] {
      dup2(Descriptor(open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600)).get(),
           STDERR_FILENO);
      row.fail();
      char output[2] = "";
      EXPECT_EQ(
          row.is_captured ? process_linux_cmd("printf x", output, 2) : execute_linux_cmd("true"),
          row.result);
      EXPECT_STREQ(output, "");
    });
    EXPECT_EQ(Contents(errors), row.error);
  }
}

}  // namespace
}  // namespace qvx::test
