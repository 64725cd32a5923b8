#include "os/file_exchange.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "os/directory_search.h"
#include "os/files.h"
#include "os/new_files.h"

namespace qvx {

namespace {

constexpr std::string_view kOldSuffix = "old";
constexpr std::string_view kUndoSuffix = "undo";
constexpr size_t kLongestUndo = 1 << 20;
constexpr mode_t kOwnersAlone = S_IRUSR | S_IWUSR;

bool Exists(int directory, const std::string& name) {
  struct stat status = {};
  return fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

/// Whether errno of a reading that failed tells what is there: nothing, no file, or more than was
/// asked for.
bool TellsWhatIsThere() {
  return errno == ENOENT || errno == EFBIG || IsNoFile(errno);
}

/// Returns whether a file has the content `text`; nothing when that cannot be told at the moment.
std::optional<bool> Holds(const std::string& path, const std::string& text) {
  const Descriptor file = OpenDescriptor(path, O_RDONLY);
  const std::optional<std::string> content = file ? ReadRest(file, text.size()) : std::nullopt;
  return content || TellsWhatIsThere() ? std::optional(content == text) : std::nullopt;
}

/// Without flags this is renameat(2), which every kernel and file system has.
bool Move(int directory, const std::string& from, const std::string& to, unsigned int flags) {
  return flags == 0 ? renameat(directory, from.c_str(), directory, to.c_str()) == 0
                    : renameat2(directory, from.c_str(), directory, to.c_str(), flags) == 0;
}

/// How to move a file to a name so that nothing is lost that stands there or comes there.
unsigned int HowToSwap(int directory, const std::string& name) {
  return Exists(directory, name) ? RENAME_EXCHANGE : RENAME_NOREPLACE;
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
  const unsigned int how = HowToSwap(directory, old);
  if (!Move(directory, name, old, how)) {
    return errno == ENOENT;
  }
  if (Holds(path + old, text) == false) {
    Move(directory, old, name, how);
  }
  return true;
}

/// Takes back the exchange of one name by the run with a number. Returns false when that has to be
/// left to a later run.
bool TakeBack(int directory, const std::string& path, const std::string& name, pid_t number) {
  const Descriptor undo = OpenDescriptor(path + FurtherName(name, number, kUndoSuffix), O_RDONLY);
  const std::optional<std::string> text = undo ? ReadRest(undo, kLongestUndo) : std::nullopt;
  if (!text || text->empty()) {
    return text || TellsWhatIsThere();
  }
  return PutBack(directory, path, name, FurtherName(name, number, kOldSuffix), *text);
}

/// Takes back the exchanges of one run, the last one first, and removes what is left of them.
void TakeBackRun(int directory, const std::string& path, const std::vector<std::string>& names,
                 pid_t number) {
  const bool is_final = !Exists(directory, FurtherName(names.front(), number, kUndoSuffix));
  bool is_done = true;
  for (auto name = names.rbegin(); name != names.rend() && !is_final; ++name) {
    is_done = TakeBack(directory, path, *name, number) && is_done;
  }
  for (auto name = names.rbegin(); name != names.rend() && is_done; ++name) {
    Remove(directory, FurtherName(*name, number, kOldSuffix));
    Remove(directory, FurtherName(*name, number, kUndoSuffix));
  }
}

/// Whether the run with a number still holds the lock of a new file, in the order of the names that
/// the file has one after the other.
bool IsUnderWay(const Descriptor& directory, const std::vector<std::string>& names, pid_t number) {
  return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
    return IsLocked(directory, FurtherName(name, number, kNewSuffix)) ||
           IsLocked(directory, FurtherName(name, number, kOldSuffix)) || IsLocked(directory, name);
  });
}

}  // namespace

FileExchange::FileExchange(FileReplacement& file, const std::string& path, std::string text,
                           Judge may_be_replaced)
    : file_(file),
      directory_(path.substr(0, path.rfind('/') + 1)),
      name_(path.substr(path.rfind('/') + 1)),
      text_(std::move(text)),
      may_be_replaced_(std::move(may_be_replaced)) {
  if (const std::optional<pid_t> number = NumberIn(file.temporary(), name_, kNewSuffix)) {
    old_ = FurtherName(name_, *number, kOldSuffix);
    undo_ = FurtherName(name_, *number, kUndoSuffix);
  }
}

FileExchange::~FileExchange() {
  if (old_.empty()) {
    return;
  }
  const int directory = file_.place().directory.get();
  try {
    if (!can_be_taken_back_ || PutBack(directory, directory_, name_, old_, text_)) {
      Remove(directory, old_);
      Remove(directory, undo_);
    }
  } catch (const std::bad_alloc&) {
    return;  // the next run takes it back
  }
}

Outcome FileExchange::Exchange() {
  if (!may_be_replaced_(directory_ + name_)) {
    return Outcome::kChanged;
  }
  if (file_.is_in_place()) {
    return file_.Commit() ? Outcome::kDone : Outcome::kFailed;
  }
  const bool is_ready = file_.Finish() && MakeUndo() &&
                        Move(file_.place().directory.get(), file_.temporary(), old_, 0);
  return is_ready ? Swap() : Outcome::kFailed;
}

bool FileExchange::MakeUndo() {
  const Descriptor undo(openat(file_.place().directory.get(), undo_.c_str(),
                               O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kOwnersAlone));
  return undo && WriteAll(undo, text_) && Synchronize(undo);
}

Outcome FileExchange::Swap() {
  const int directory = file_.place().directory.get();
  can_be_taken_back_ = Move(directory, old_, name_, HowToSwap(directory, name_));
  if (can_be_taken_back_) {
    return may_be_replaced_(directory_ + old_) ? Outcome::kDone : Outcome::kChanged;
  }
  if (errno == ENOENT || errno == EEXIST) {
    return Outcome::kChanged;
  }
  return Move(directory, old_, name_, 0) ? Outcome::kDone : Outcome::kFailed;
}

bool FileExchange::Stands() const {
  return !can_be_taken_back_ || Holds(directory_ + name_, text_) == true;
}

void FileExchange::Accept() {
  can_be_taken_back_ = false;
  if (!undo_.empty()) {
    Remove(file_.place().directory.get(), undo_);
  }
}

void TakeBackExchanges(const std::string& path, const std::vector<std::string>& names, Runs runs) {
  const Descriptor directory = OpenDirectory(path);
  std::set<pid_t> numbers;
  for (const std::string& further : NamesIn(directory, ".")) {
    for (const std::string& name : names) {
      for (const std::string_view suffix : {kOldSuffix, kUndoSuffix}) {
        if (const std::optional<pid_t> number = NumberIn(further, name, suffix)) {
          numbers.insert(*number);
        }
      }
    }
  }
  for (const pid_t number : numbers) {
    if (runs == Runs::kEnded && IsUnderWay(directory, names, number)) {
      continue;
    }
    TakeBackRun(directory.get(), path, names, number);
  }
}

}  // namespace qvx
