#include "companion/programs.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "os/descriptor.h"
#include "os/files.h"

namespace qvx::companion {

namespace {

constexpr size_t kStart = 256;   // the bytes from which the kernel tells the format
constexpr int kMostScripts = 5;  // one that interprets another

/// Machines whose programs run on another one, too.
constexpr std::pair<uint16_t, uint16_t> kAlsoRuns[] = {{EM_X86_64, EM_386}, {EM_AARCH64, EM_ARM}};

bool IsExecutable(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0;
}

/// Returns the bytes that the file has there, at most `size`.
std::string BytesAt(const Descriptor& file, uint64_t offset, size_t size) {
  std::string bytes(size, '\0');
  const ssize_t count = pread(file.get(), bytes.data(), size, static_cast<off_t>(offset));
  bytes.resize(count < 0 ? 0 : static_cast<size_t>(count));
  return bytes;
}

template <typename Record>
Record RecordFrom(const std::string& bytes, size_t offset) {
  Record record{};
  bytes.copy(reinterpret_cast<char*>(&record), sizeof record, offset);
  return record;
}

/// The machine stands at the same place in both classes.
uint16_t MachineOf(const std::string& start) {
  return start.size() < sizeof(Elf32_Ehdr) ? EM_NONE : RecordFrom<Elf32_Ehdr>(start, 0).e_machine;
}

bool RunsHere(uint16_t machine) {
  const Descriptor self = OpenDescriptor("/proc/self/exe", O_RDONLY);
  const uint16_t own = self ? MachineOf(BytesAt(self, 0, kStart)) : machine;
  return machine == own ||
         std::count(std::begin(kAlsoRuns), std::end(kAlsoRuns), std::pair(own, machine)) > 0;
}

/// Whether the program has no loader, or one that is there.
template <typename Header, typename Segment>
bool LoaderIsThere(const Descriptor& file, const std::string& start) {
  const auto header = RecordFrom<Header>(start, 0);
  const std::string table = BytesAt(file, header.e_phoff, size_t{header.e_phnum} * sizeof(Segment));
  if (start.size() < sizeof(Header) || header.e_phentsize != sizeof(Segment) || table.empty() ||
      table.size() != size_t{header.e_phnum} * sizeof(Segment)) {
    return false;
  }
  for (size_t offset = 0; offset < table.size(); offset += sizeof(Segment)) {
    const auto segment = RecordFrom<Segment>(table, offset);
    if (segment.p_type == PT_INTERP) {
      const std::string name =
          BytesAt(file, segment.p_offset, std::min<size_t>(segment.p_filesz, 4096));
      return name.size() > 1 && name.back() == '\0' &&
             IsExecutable(name.substr(0, name.find('\0')));
    }
  }
  return true;
}

bool IsNative(const Descriptor& file, const std::string& start) {
  const auto type = RecordFrom<Elf32_Ehdr>(start, 0).e_type;
  return (type == ET_EXEC || type == ET_DYN) && RunsHere(MachineOf(start)) &&
         (start[EI_CLASS] == ELFCLASS64 ? LoaderIsThere<Elf64_Ehdr, Elf64_Phdr>(file, start)
                                        : LoaderIsThere<Elf32_Ehdr, Elf32_Phdr>(file, start));
}

/// Returns the interpreter that the first line of a script names; an empty text when it names none,
/// or the line does not show where the name ends.
std::string InterpreterOf(const std::string& start) {
  const size_t end = std::min(start.find('\n'), start.size());
  const std::string line = start.substr(2, end - 2);
  const size_t name = std::min(line.find_first_not_of(" \t"), line.size());
  const size_t behind = line.find_first_of(" \t", name);
  const bool is_cut = behind == std::string::npos && end == kStart;
  return is_cut ? "" : line.substr(name, behind == std::string::npos ? behind : behind - name);
}

}  // namespace

bool IsProgram(const std::string& path) {
  std::string program = path;
  for (int i = 0; i <= kMostScripts && IsExecutable(program); ++i) {
    const Descriptor file = OpenDescriptor(program, O_RDONLY);
    if (!file) {
      return true;
    }
    const std::string start = BytesAt(file, 0, kStart);
    if (start.starts_with(ELFMAG)) {
      return start.size() > EI_CLASS && IsNative(file, start);
    }
    if (!start.starts_with("#!")) {
      return false;
    }
    program = InterpreterOf(start);
  }
  return false;
}

}  // namespace qvx::companion
