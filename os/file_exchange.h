// Putting a new file in the place of an old one so that it can be taken back.
//
// The new file, ".NAME.PID.new", gets a further name, ".NAME.PID.old", and that one changes places
// with NAME in one step. So whatever stood at NAME has the name ".NAME.PID.old" afterwards. It can
// be compared with what was meant to be replaced, and be put back. While ".NAME.PID.new" stands,
// nothing is final: TakeBackExchanges puts back what a killed run had exchanged. An old file is
// dropped only after that name.
//
// Where the file system knows no hard links or cannot exchange, the new file is renamed over the
// old one, and an old file that is written in place keeps its name. Both are final at once.
#ifndef QVX_OS_FILE_EXCHANGE_H
#define QVX_OS_FILE_EXCHANGE_H

#include <functional>
#include <string>
#include <vector>

#include "os/file_replacement.h"

namespace qvx {

/// The names of one exchange in its directory.
struct ExchangeNames {
  std::string name;
  std::string fresh;  ///< of the new file, as long as nothing is final
  std::string old;    ///< of what stood there
};

class FileExchange {
 public:
  /// Says whether the file at a path is the one that may be replaced.
  using Judge = std::function<bool(const std::string& path)>;

  enum class Outcome {
    kDone,
    kChanged,  ///< another file stands there than the one that may be replaced, and stays
    kFailed,   ///< everything is as it was
  };

  /// `file` is the whole replacement of the file at `path`, made with LastLink::kStay. It belongs
  /// to the caller, who keeps it longer than this object.
  FileExchange(FileReplacement& file, const std::string& path, Judge may_be_replaced);
  /// Takes an exchange back that was not accepted, unless another file has taken the place
  /// meanwhile. Removes the further names.
  ~FileExchange();
  FileExchange(const FileExchange&) = delete;
  FileExchange& operator=(const FileExchange&) = delete;
  FileExchange(FileExchange&&) = delete;
  FileExchange& operator=(FileExchange&&) = delete;

  Outcome Exchange();

  /// Returns whether the new file still stands in its place, as far as it can be taken back.
  bool Stands() const;

  /// Makes the exchange final.
  void Accept();

 private:
  Outcome ReplaceOld();
  Outcome PutNew();
  Outcome Rename();

  FileReplacement& file_;
  ExchangeNames names_;
  std::string path_;
  std::string old_path_;
  Judge may_be_replaced_;
  bool can_be_taken_back_ = false;
};

/// Takes back what killed runs, or runs without the lock, exchanged at the names of `paths`, which
/// have one directory. A run's exchanges are taken back together, as long as that of the first path
/// is not final. Returns whether files of other runs were found beside `paths`.
bool TakeBackExchanges(const std::vector<std::string>& paths);

}  // namespace qvx

#endif
