#include "os/paths.h"

#include <libgen.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "os/bounded_copy.h"
#include "os/directories.h"

namespace qvx {

namespace {

/// Characters of a working directory that a path is resolved against.
constexpr size_t kMaxWorkingDirectory = 255;
constexpr int32_t kFixedDrive = 3;
constexpr char kOnlyVolume[] = "/";

/// A backslash is looked for first. A slash separates only when no backslash follows.
size_t FindSeparator(std::string_view text, size_t from) {
  const size_t backslash = text.find('\\', from);
  return backslash != std::string_view::npos ? backslash : text.find('/', from);
}

/// The text up to the first colon, or the server and share of a network path.
std::string_view DriveOf(std::string_view path) {
  if (const size_t colon = path.find(':'); colon != std::string_view::npos) {
    return path.substr(0, colon + 1);
  }
  if (!path.starts_with("\\\\") && !path.starts_with("//")) {
    return {};
  }
  const size_t server_end = FindSeparator(path, 2);
  if (server_end == std::string_view::npos) {
    return {};
  }
  return path.substr(0, FindSeparator(path, server_end + 1));
}

std::string_view DirectoryOf(std::string_view path) {
  const size_t backslash = path.rfind('\\');
  const size_t end = backslash != std::string_view::npos ? backslash : path.rfind('/');
  return end == std::string_view::npos ? std::string_view() : path.substr(0, end + 1);
}

/// Returns false when the buffer is too small for the part.
bool StorePart(std::string_view part, char* buffer, uint32_t* size) {
  const bool fits = size == nullptr || part.size() < *size;
  if (size != nullptr) {
    *size = static_cast<uint32_t>(part.size() + 1);
  }
  if (buffer == nullptr) {
    return true;
  }
  if (fits) {
    buffer[part.copy(buffer, part.size())] = '\0';
  }
  return fits;
}

/// As StorePart, but an absent part has the size 0.
bool StoreOptionalPart(std::string_view part, char* buffer, uint32_t* size) {
  if (!part.empty()) {
    return StorePart(part, buffer, size);
  }
  const bool fits = buffer == nullptr || size == nullptr || *size > 0;
  if (buffer != nullptr && fits) {
    *buffer = '\0';
  }
  if (size != nullptr) {
    *size = 0;
  }
  return fits;
}

/// Returns an empty text when the working directory cannot be used.
std::string AbsolutePath(std::string_view path) {
  if (path.starts_with("/")) {
    return std::string(path);
  }
  char working_directory[kMaxWorkingDirectory + 1];
  const char* base = getcwd(working_directory, sizeof working_directory);
  if (base == nullptr) {
    return {};
  }
  if (path.starts_with("./")) {
    path.remove_prefix(2);
    return std::string(base).append("/").append(path);
  }
  while (path.starts_with("../")) {
    base = dirname(working_directory);
    path.remove_prefix(3);
  }
  return std::string(base).append("/").append(path);
}

}  // namespace

}  // namespace qvx

int32_t OSSplitPath(const char* path, char* drive, uint32_t* drive_size, char* directory,
                    uint32_t* directory_size, char* name, uint32_t* name_size, char* extension,
                    uint32_t* extension_size) {
  if (path == nullptr) {
    return 0;
  }
  std::string_view rest = path;
  const std::string_view drive_part = qvx::DriveOf(rest);
  rest.remove_prefix(drive_part.size());
  const std::string_view directory_part = qvx::DirectoryOf(rest);
  rest.remove_prefix(directory_part.size());
  const std::string_view name_part = rest.substr(0, rest.rfind('.'));
  rest.remove_prefix(name_part.size());
  bool fitted = qvx::StoreOptionalPart(drive_part, drive, drive_size);
  fitted &= qvx::StoreOptionalPart(directory_part, directory, directory_size);
  fitted &= qvx::StorePart(name_part, name, name_size);
  fitted &= qvx::StorePart(rest, extension, extension_size);
  return fitted ? 1 : 0;
}

void GetDirFile(const char* path, char* directory, char* file) {
  const std::string_view whole = path;
  const size_t slash = whole.rfind('/');
  const bool has_directory = slash != std::string_view::npos;
  qvx::CopyBounded(has_directory ? whole.substr(0, slash) : ".", directory, kPathCapacity);
  qvx::CopyBounded(has_directory ? whole.substr(slash + 1) : whole, file, kPathCapacity);
}

char* _fullpath(char* output, const char* path, size_t capacity) {
  const std::string full = qvx::AbsolutePath(path);
  if (full.empty() || full.size() >= capacity) {
    qvx::CopyBounded("", output, capacity);
    return nullptr;
  }
  qvx::CopyBounded(full, output, capacity);
  return output;
}

int32_t OSGetDriveType(const char* /*path*/) {
  return qvx::kFixedDrive;
}

const char* OSFindFirstVolume(void* /*first*/, void* /*second*/, void* /*third*/) {
  return qvx::kOnlyVolume;
}

const char* OSFindNextVolume(const void* /*handle*/) {
  return qvx::kOnlyVolume;
}

void OSFindCloseVolume(const void* /*handle*/) {}
