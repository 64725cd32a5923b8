#include "os/file_exchange.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <new>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "os/files.h"

namespace qvx {

namespace {

constexpr std::string_view kOldSuffix = ".old";
constexpr std::string_view kUndoSuffix = ".undo";
constexpr size_t kLongestUndo = 1 << 20;
constexpr mode_t kOwnersAlone = S_IRUSR | S_IWUSR;

std::string Joined(std::string_view front, std::string_view back) {
  return std::string(front).append(back);
}

std::string StemOf(std::string_view name) {
  return std::string(".").append(name).append(".");
}

bool Exists(int directory, const std::string& name) {
  struct stat status = {};
  return fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

/// Returns whether a file has the content `text`; nothing when that cannot be told at the moment.
std::optional<bool> Holds(const std::string& path, const std::string& text) {
  const Descriptor file = OpenDescriptor(path, O_RDONLY);
  const std::optional<std::string> content = file ? ReadRest(file, text.size()) : std::nullopt;
  const bool is_known = content || errno == ENOENT || errno == EFBIG || IsNoFile(errno);
  return is_known ? std::optional(content == text) : std::nullopt;
}

/// Without flags this is renameat(2), which every kernel and file system has.
bool Move(int directory, const std::string& from, const std::string& to, unsigned int flags) {
  return flags == 0 ? renameat(directory, from.c_str(), directory, to.c_str()) == 0
                    : renameat2(directory, from.c_str(), directory, to.c_str(), flags) == 0;
}

void Remove(int directory, const std::string& name) {
  unlinkat(directory, name.c_str(), 0);
}

/// Puts back what an exchange displaced; takes the new text away where nothing stood. What somebody
/// has put or written in the place meanwhile stays, also when it comes at this moment. Returns
/// false when the new text may still stand there, and what it displaced has its further name.
bool PutBack(int directory, const std::string& path, const std::string& name,
             const std::string& old, const std::string& text) {
  const std::optional<bool> stands = Holds(path + name, text);
  if (!stands || !*stands) {
    return stands.has_value();
  }
  const unsigned int how = Exists(directory, old) ? RENAME_EXCHANGE : RENAME_NOREPLACE;
  if (!Move(directory, name, old, how)) {
    return errno == ENOENT;
  }
  if (Holds(path + old, text) == false) {
    Move(directory, old, name, how);
  }
  return true;
}

struct DirectoryCloser {
  void operator()(DIR* stream) const { closedir(stream); }
};

/// Returns the names in a directory that begin with the stem of one of `names`.
std::set<std::string> FurtherNamesIn(const Descriptor& directory,
                                     const std::vector<std::string>& names) {
  const int descriptor = openat(directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const std::unique_ptr<DIR, DirectoryCloser> stream(descriptor < 0 ? nullptr
                                                                    : fdopendir(descriptor));
  std::set<std::string> further;
  while (const dirent* entry = stream ? readdir(stream.get()) : nullptr) {
    const std::string_view found = entry->d_name;
    const auto belongs = [found](const std::string& name) {
      return found.starts_with(StemOf(name));
    };
    if (std::any_of(names.begin(), names.end(), belongs)) {
      further.emplace(found);
    }
  }
  return further;
}

/// Returns the number in a further name of `name` with `suffix`; nothing for another name.
std::optional<std::string> NumberIn(std::string_view further, std::string_view name,
                                    std::string_view suffix) {
  const std::string stem = StemOf(name);
  if (!further.starts_with(stem) || !further.ends_with(suffix) ||
      further.size() <= stem.size() + suffix.size()) {
    return std::nullopt;
  }
  further.remove_prefix(stem.size());
  further.remove_suffix(suffix.size());
  return further.find_first_not_of("0123456789") == std::string_view::npos
             ? std::optional<std::string>(further)
             : std::nullopt;
}

/// Takes back the exchange of one name by the run with a number. Returns false when that has to be
/// left to a later run.
bool TakeBack(int directory, const std::string& path, const std::string& name,
              const std::string& number) {
  const std::string stem = StemOf(name).append(number);
  const Descriptor undo = OpenDescriptor(path + Joined(stem, kUndoSuffix), O_RDONLY);
  const std::optional<std::string> text = undo ? ReadRest(undo, kLongestUndo) : std::nullopt;
  if (!text || text->empty()) {
    return text || errno == ENOENT || errno == EFBIG || IsNoFile(errno);
  }
  return PutBack(directory, path, name, Joined(stem, kOldSuffix), *text);
}

/// Removes what is left of an exchange.
void RemoveFurther(int directory, const std::vector<std::string>& names,
                   const std::string& number) {
  for (auto name = names.rbegin(); name != names.rend(); ++name) {
    Remove(directory, Joined(StemOf(*name).append(number), kOldSuffix));
    Remove(directory, Joined(StemOf(*name).append(number), kUndoSuffix));
  }
}

}  // namespace

FileExchange::FileExchange(FileReplacement& file, const std::string& path, std::string text,
                           Judge may_be_replaced)
    : file_(file),
      directory_(path.substr(0, path.rfind('/') + 1)),
      name_(path.substr(path.rfind('/') + 1)),
      stem_(file.temporary().substr(0, file.temporary().rfind('.'))),
      text_(std::move(text)),
      may_be_replaced_(std::move(may_be_replaced)) {}

FileExchange::~FileExchange() {
  if (stem_.empty()) {
    return;
  }
  const int directory = file_.place().directory.get();
  try {
    const std::string old = Joined(stem_, kOldSuffix);
    if (!can_be_taken_back_ || PutBack(directory, directory_, name_, old, text_)) {
      Remove(directory, old);
      Remove(directory, Joined(stem_, kUndoSuffix));
    }
  } catch (const std::bad_alloc&) {
    return;  // the next run takes it back
  }
}

FileExchange::Outcome FileExchange::Exchange() {
  if (!may_be_replaced_(directory_ + name_)) {
    return Outcome::kChanged;
  }
  if (file_.is_in_place()) {
    return file_.Commit() ? Outcome::kDone : Outcome::kFailed;
  }
  if (!file_.Finish() || !MakeUndo()) {
    return Outcome::kFailed;
  }
  return Exists(file_.place().directory.get(), name_) ? ReplaceOld() : PutNew();
}

bool FileExchange::MakeUndo() {
  const Descriptor undo(openat(file_.place().directory.get(), Joined(stem_, kUndoSuffix).c_str(),
                               O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kOwnersAlone));
  return undo && WriteAll(undo, text_) && Synchronize(undo);
}

FileExchange::Outcome FileExchange::ReplaceOld() {
  const int directory = file_.place().directory.get();
  const std::string old = Joined(stem_, kOldSuffix);
  if (!Move(directory, file_.temporary(), old, 0)) {
    return Outcome::kFailed;
  }
  if (!Move(directory, old, name_, RENAME_EXCHANGE)) {
    const bool is_gone = errno == ENOENT;
    return is_gone ? Outcome::kChanged : Rename(old);
  }
  can_be_taken_back_ = true;
  return may_be_replaced_(directory_ + old) ? Outcome::kDone : Outcome::kChanged;
}

FileExchange::Outcome FileExchange::PutNew() {
  can_be_taken_back_ =
      Move(file_.place().directory.get(), file_.temporary(), name_, RENAME_NOREPLACE);
  if (can_be_taken_back_) {
    return Outcome::kDone;
  }
  return errno == EEXIST ? Outcome::kChanged : Rename(file_.temporary());
}

FileExchange::Outcome FileExchange::Rename(const std::string& from) {
  return Move(file_.place().directory.get(), from, name_, 0) ? Outcome::kDone : Outcome::kFailed;
}

bool FileExchange::Stands() const {
  return !can_be_taken_back_ || Holds(directory_ + name_, text_) == true;
}

void FileExchange::Accept() {
  can_be_taken_back_ = false;
  if (!stem_.empty()) {
    Remove(file_.place().directory.get(), Joined(stem_, kUndoSuffix));
  }
}

bool HasFurtherNames(const Descriptor& directory, const std::vector<std::string>& names) {
  return !FurtherNamesIn(directory, names).empty();
}

void TakeBackExchanges(const std::string& path, const std::vector<std::string>& names) {
  const Descriptor directory = OpenDirectory(path);
  if (!directory) {
    return;
  }
  std::set<std::string> numbers;
  for (const std::string& further : FurtherNamesIn(directory, names)) {
    for (const std::string& name : names) {
      for (const std::string_view suffix : {kOldSuffix, kUndoSuffix}) {
        if (std::optional<std::string> number = NumberIn(further, name, suffix)) {
          numbers.insert(std::move(*number));
        }
      }
    }
  }
  for (const std::string& number : numbers) {
    const std::string first = Joined(StemOf(names.front()).append(number), kUndoSuffix);
    bool is_done = true;
    if (Exists(directory.get(), first)) {
      for (auto name = names.rbegin(); name != names.rend(); ++name) {
        is_done = TakeBack(directory.get(), path, *name, number) && is_done;
      }
    }
    if (is_done) {
      RemoveFurther(directory.get(), names, number);
    }
  }
}

}  // namespace qvx
