#include "os/directory_search.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>

#include <cstring>
#include <memory>
#include <new>

#include "os/bounded_copy.h"
#include "os/path_walk.h"
#include "os/paths.h"

namespace qvx {

namespace {

constexpr size_t kMaxEntryName = 255;  // the longest name that a directory entry holds
constexpr uint32_t kAttributeBits = 0xFFFF;

struct DirectoryCloser {
  void operator()(DIR* stream) const { closedir(stream); }
};
using DirectoryStream = std::unique_ptr<DIR, DirectoryCloser>;

DIR* StreamOf(OSFindHandle handle) {
  return reinterpret_cast<DIR*>(handle);
}

void FillStatus(DIR* stream, const char* name, OSFindRecord* record) {
  struct stat status = {};
  if (fstatat(dirfd(stream), name, &status, 0) != 0) {
    return;
  }
  record->attributes = status.st_mode & kAttributeBits;
  record->creation_time = status.st_ctime;
  record->last_access_time = status.st_atime;
  record->last_write_time = status.st_mtime;
  record->size = status.st_size;
}

bool FillNextMatch(DIR* stream, OSFindRecord* record) {
  while (const dirent* entry = readdir(stream)) {
    if (fnmatch(record->pattern, entry->d_name, FNM_PATHNAME | FNM_PERIOD) != 0) {
      continue;
    }
    CopyBounded(entry->d_name, record->name, kMaxEntryName + 1);
    record->entry_number = entry->d_ino;
    record->entry_offset = telldir(stream);
    record->entry_length = entry->d_reclen;
    FillStatus(stream, entry->d_name, record);
    return true;
  }
  return false;
}

DirectoryStream OpenStream(const Descriptor& directory) {
  Descriptor opened(openat(directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  DirectoryStream stream(opened ? fdopendir(opened.get()) : nullptr);
  if (stream) {
    static_cast<void>(opened.release());
  }
  return stream;
}

OSFindHandle FindFirst(const char* pattern_path, OSFindRecord* record) {
  char directory[kPathCapacity];
  char file[kPathCapacity];
  GetDirFile(pattern_path, directory, file);
  constexpr std::string_view kEveryDosName = "*.*";
  std::string pattern = file;
  if (const size_t position = pattern.find(kEveryDosName); position != std::string::npos) {
    pattern.erase(position + 1, kEveryDosName.size() - 1);
  }
  CopyBounded(pattern, record->pattern, sizeof record->pattern);
  DirectoryStream stream = OpenStream(OpenDirectory(directory));
  if (!stream || !FillNextMatch(stream.get(), record)) {
    return kNoSearch;
  }
  return reinterpret_cast<OSFindHandle>(stream.release());
}

}  // namespace

std::vector<std::string> NamesIn(const Descriptor& directory, std::string_view prefix) {
  const DirectoryStream stream = OpenStream(directory);
  std::vector<std::string> names;
  while (const dirent* entry = stream ? readdir(stream.get()) : nullptr) {
    if (std::string_view(entry->d_name).starts_with(prefix)) {
      names.emplace_back(entry->d_name);
    }
  }
  return names;
}

}  // namespace qvx

OSFindHandle OSFindFirstFile(const char* pattern_path, OSFindRecord* record) {
  // A cut path could name another directory.
  if (std::strlen(pattern_path) >= kPathCapacity) {
    return kNoSearch;
  }
  try {
    return qvx::FindFirst(pattern_path, record);
  } catch (const std::bad_alloc&) {
    return kNoSearch;
  }
}

int OSFindNextFile(OSFindHandle handle, OSFindRecord* record) {
  return handle > 0 && qvx::FillNextMatch(qvx::StreamOf(handle), record) ? 0 : -1;
}

int OSFindClose(OSFindHandle handle) {
  return handle > 0 ? closedir(qvx::StreamOf(handle)) : 0;
}
