// What counts as a program is what the kernel executes.
#include "companion/programs.h"

#include <elf.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/harness/installation.h"
#include "tests/harness/isolated.h"

namespace qvx::test {
namespace {

constexpr int kNotExecuted = 126;

/// Whether the kernel executes the file, whatever becomes of it then.
bool IsExecuted(const std::string& path) {
  return RunIsolated(0, [&] {
           execl(path.c_str(), path.c_str(), nullptr);
           return kNotExecuted;
         }) != kNotExecuted;
}

TEST(Programs, AreWhatTheKernelExecutes) {
  const TempDirectory folder;
  const std::string real = Contents("/bin/true").value_or("");
  const size_t loader = real.find("/lib");
  const size_t end_of_loader = real.find('\0', loader);
  const uint64_t sizes_of_loader[2] = {end_of_loader + 1 - loader, end_of_loader + 1 - loader};
  const size_t sizes =
      real.find({reinterpret_cast<const char*>(sizes_of_loader), sizeof sizes_of_loader});
  ASSERT_LT(sizes, real.size());
  const auto changed = [&](size_t place, std::string_view bytes) {
    return std::string(real).replace(place, bytes.size(), bytes);
  };
  std::vector<std::string> files = {
      real,
      changed(offsetof(Elf64_Ehdr, e_type), {"\x01\0", 2}),
      changed(offsetof(Elf64_Ehdr, e_machine), "\xff\xff"),
      changed(offsetof(Elf64_Ehdr, e_phoff), "\xff\xff\xff\x7f"),
      changed(offsetof(Elf64_Ehdr, e_phentsize), "\x01"),
      changed(offsetof(Elf64_Ehdr, e_phnum), {"\0\0", 2}),
      changed(loader, "X"),
      changed(sizes, std::string(1, static_cast<char>(sizes_of_loader[0] - 1))),
      "echo\n",
      "#!\n",
      "#!/nowhere\n",
      "#! \t/bin/true",
      "#!/bin/true and more\n",
      "#!" + std::string(246, '/') + "bin/true\n",
  };
  for (const int size : {0, 3, 4, 20, 63, 64, 100}) {
    files.push_back(real.substr(0, static_cast<size_t>(size)));
  }
  for (std::string path = "/bin/true"; const char* name : {"1", "2", "3", "4", "5", "6", "7"}) {
    const std::string script = "#!" + path;
    path = folder.path() / name;
    WriteText(path, files.emplace_back(script));
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  }
  for (size_t i = 0; i < files.size(); ++i) {
    SCOPED_TRACE(i);
    const std::string path = folder.path() / "program";
    EXPECT_FALSE(companion::IsProgram(path));
    WriteText(path, files[i]);
    EXPECT_FALSE(companion::IsProgram(path));
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    EXPECT_EQ(companion::IsProgram(path), IsExecuted(path));
    std::filesystem::remove(path);
  }
}

}  // namespace
}  // namespace qvx::test
