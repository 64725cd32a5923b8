#include "os/file_exchange.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

namespace qvx {

namespace {

constexpr std::string_view kNewSuffix = ".new";
constexpr std::string_view kOldSuffix = ".old";

ExchangeNames NamesOf(const std::string& name, std::string_view maker) {
  const std::string stem = std::string(".").append(name).append(".").append(maker);
  return {name, std::string(stem).append(kNewSuffix), std::string(stem).append(kOldSuffix)};
}

std::string NameIn(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

/// Returns the process ID in a name that an exchange of `name` makes; nothing for another name.
std::optional<std::string> MakerOf(std::string_view entry, std::string_view name) {
  const size_t front = name.size() + 2;  // a dot on each side
  const bool is_further = entry.ends_with(kNewSuffix) || entry.ends_with(kOldSuffix);
  if (!is_further || entry.size() <= front + kNewSuffix.size() || entry[0] != '.' ||
      entry.substr(1, name.size()) != name || entry[front - 1] != '.') {
    return std::nullopt;
  }
  const std::string_view maker = entry.substr(front, entry.size() - front - kNewSuffix.size());
  return maker.find_first_not_of("0123456789") == std::string_view::npos
             ? std::optional<std::string>(maker)
             : std::nullopt;
}

bool Exists(int directory, const std::string& name) {
  struct stat status {};
  return fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

/// Whether two names lead to one file.
bool AreOne(int directory, const std::string& a, const std::string& b) {
  struct stat first {};
  struct stat second {};
  return fstatat(directory, a.c_str(), &first, AT_SYMLINK_NOFOLLOW) == 0 &&
         fstatat(directory, b.c_str(), &second, AT_SYMLINK_NOFOLLOW) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

bool Link(int directory, const std::string& from, const std::string& to) {
  return linkat(directory, from.c_str(), directory, to.c_str(), 0) == 0;
}

/// Without flags this is renameat(2), which every kernel and file system has.
bool Move(int directory, const std::string& from, const std::string& to, unsigned int flags) {
  return flags == 0 ? renameat(directory, from.c_str(), directory, to.c_str()) == 0
                    : renameat2(directory, from.c_str(), directory, to.c_str(), flags) == 0;
}

/// Puts back what an exchange displaced; takes the new file away where nothing stood. A file that
/// has come in the place of the new one stays, also when it comes at this moment. What could not be
/// put back keeps its further name, for the next run.
void PutBack(int directory, const ExchangeNames& names) {
  if (!AreOne(directory, names.name, names.fresh)) {
    return;
  }
  const bool had_old = Exists(directory, names.old);
  const unsigned int how = had_old ? RENAME_EXCHANGE : RENAME_NOREPLACE;
  if (Move(directory, names.name, names.old, how) && !AreOne(directory, names.old, names.fresh)) {
    Move(directory, names.old, names.name, how);
  }
}

struct DirectoryCloser {
  void operator()(DIR* stream) const { closedir(stream); }
};

/// Returns the makers of all further names of `paths` in their directory.
std::set<std::string> MakersIn(const Descriptor& directory, const std::vector<std::string>& paths) {
  const int descriptor = openat(directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const std::unique_ptr<DIR, DirectoryCloser> stream(descriptor < 0 ? nullptr
                                                                    : fdopendir(descriptor));
  std::set<std::string> makers;
  while (const dirent* entry = stream ? readdir(stream.get()) : nullptr) {
    for (const std::string& path : paths) {
      if (std::optional<std::string> maker = MakerOf(entry->d_name, NameIn(path))) {
        makers.insert(std::move(*maker));
      }
    }
  }
  return makers;
}

}  // namespace

FileExchange::FileExchange(FileReplacement& file, const std::string& path, Judge may_be_replaced)
    : file_(file),
      names_(NamesOf(NameIn(path), MakerOf(file.temporary_name(), NameIn(path)).value_or(""))),
      path_(path),
      old_path_(path.substr(0, path.rfind('/') + 1) + names_.old),
      may_be_replaced_(std::move(may_be_replaced)) {}

FileExchange::~FileExchange() {
  if (file_.temporary_name().empty()) {
    return;
  }
  const int directory = file_.place().directory.get();
  if (can_be_taken_back_) {
    PutBack(directory, names_);
    if (AreOne(directory, names_.name, names_.fresh)) {
      file_.Keep();
      return;
    }
  }
  unlinkat(directory, names_.old.c_str(), 0);
}

FileExchange::Outcome FileExchange::Exchange() {
  if (!may_be_replaced_(path_)) {
    return Outcome::kChanged;
  }
  if (file_.is_in_place()) {
    return file_.Commit() ? Outcome::kDone : Outcome::kFailed;
  }
  if (!file_.Finish()) {
    return Outcome::kFailed;
  }
  return Exists(file_.place().directory.get(), names_.name) ? ReplaceOld() : PutNew();
}

FileExchange::Outcome FileExchange::ReplaceOld() {
  const int directory = file_.place().directory.get();
  if (!Link(directory, names_.fresh, names_.old)) {
    return Rename();
  }
  if (!Move(directory, names_.old, names_.name, RENAME_EXCHANGE)) {
    return errno == ENOENT ? Outcome::kChanged : Rename();
  }
  can_be_taken_back_ = true;
  return may_be_replaced_(old_path_) ? Outcome::kDone : Outcome::kChanged;
}

FileExchange::Outcome FileExchange::PutNew() {
  const int directory = file_.place().directory.get();
  can_be_taken_back_ = Link(directory, names_.fresh, names_.name);
  if (can_be_taken_back_ || Move(directory, names_.fresh, names_.name, RENAME_NOREPLACE)) {
    return Outcome::kDone;
  }
  return errno == EEXIST ? Outcome::kChanged : Rename();
}

FileExchange::Outcome FileExchange::Rename() {
  return Move(file_.place().directory.get(), names_.fresh, names_.name, 0) ? Outcome::kDone
                                                                           : Outcome::kFailed;
}

bool FileExchange::Stands() const {
  return !can_be_taken_back_ || AreOne(file_.place().directory.get(), names_.name, names_.fresh);
}

void FileExchange::Accept() {
  can_be_taken_back_ = false;
  if (!file_.is_in_place()) {
    unlinkat(file_.place().directory.get(), names_.fresh.c_str(), 0);
  }
}

bool TakeBackExchanges(const std::vector<std::string>& paths) {
  const std::optional<Place> place = FindPlace(paths.front(), Access::kChange, LastLink::kStay);
  if (!place) {
    return false;
  }
  const int directory = place->directory.get();
  const std::set<std::string> makers = MakersIn(place->directory, paths);
  for (const std::string& maker : makers) {
    const bool is_final = !Exists(directory, NamesOf(NameIn(paths.front()), maker).fresh);
    for (auto path = paths.rbegin(); path != paths.rend(); ++path) {
      const ExchangeNames names = NamesOf(NameIn(*path), maker);
      if (!is_final) {
        PutBack(directory, names);
      }
      if (is_final || !AreOne(directory, names.name, names.fresh)) {
        unlinkat(directory, names.old.c_str(), 0);
      }
    }
  }
  return !makers.empty();
}

}  // namespace qvx
