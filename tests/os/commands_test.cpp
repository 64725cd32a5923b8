#include "os/commands.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/time.h>

#include <csignal>

#include "os/account_child.h"
#include "os/files.h"
#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"

namespace qvx::test {
namespace {

using namespace std::string_literals;

/// What a command's output makes of a buffer, without the untouched rest. What the command leaves
/// behind goes on until it is ended here, so whoever waited for it would never return.
std::string Stored(const char* command, uint32_t size) {
  std::string buffer(300, '#');
  EXPECT_EQ(process_linux_cmd(command, buffer.data(), size), 0);
  if (const auto left_behind = Contents("pid")) {
    EXPECT_EQ(kill(std::stoi(*left_behind), SIGKILL), 0);
    std::filesystem::remove("pid");
  }
  return buffer.substr(0, buffer.find_last_not_of('#') + 1);
}

TEST(CapturedCommand, StoresWhatFirstReadReturnedAndWaitsForNothingMore) {
  const TempDirectory directory;
  std::filesystem::current_path(directory.path());
  EXPECT_EQ(Stored("printf '12345\\n'", 250), "12345\n\0"s);
  EXPECT_EQ(Stored("printf x", 1), "") << "room for the end only";
  EXPECT_EQ(Stored("printf x", 0), "");
  EXPECT_EQ(Stored("printf a | tr a b; exit 3", 250), "b\0"s);
  EXPECT_EQ(Stored("printf %01000d 7", 250), std::string(249, '0') + '\0');
  EXPECT_EQ(Stored("seq 100000; sleep infinity & echo $! >pid", 6), "1\n2\n3\0"s);
  EXPECT_EQ(Stored("printf 00000; while :; do printf more; done & echo $! >pid", 6), "00000\0"s);
  EXPECT_EQ(Stored("sleep infinity & echo $! >pid", 6), "");
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
    std::string error;  // begins with the operation
    int result;
  } rows[] = {
      {.fail = HaveNoProcess, .error = "execute_linux_cmd: fork() failed! \n", .result = 0},
      {.fail = HaveNoShell, .error = "execute_linux_cmd: child's execv failed!\n", .result = 1},
      {.fail = HaveNoDescriptor, .error = "process_linux_cmd: pipe() failed! \n", .result = -1},
      {.fail = HaveNoProcess, .error = "process_linux_cmd: fork() failed! \n", .result = -1},
      {.fail = HaveNoShell, .error = "process_linux_cmd: child's execv failed!\n", .result = 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.error);
    PassIsolated(CLONE_NEWNS, [&] {
      dup2(Descriptor(open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600)).get(),
           STDERR_FILENO);
      row.fail();
      char output[2] = "";
      EXPECT_EQ(row.error.starts_with("process") ? process_linux_cmd("printf x", output, 2)
                                                 : execute_linux_cmd("true"),
                row.result);
      EXPECT_STREQ(output, "");
    });
    EXPECT_EQ(Contents(errors), row.error);
  }
}

}  // namespace
}  // namespace qvx::test
