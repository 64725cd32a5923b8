// Putting a new file in the place of an old one so that it can be taken back.
//
// The new file, which has the name ".NAME.NUMBER.old" by then, and the old one change places in one
// step. So whatever stood at NAME has that name afterwards. It can be compared with what was meant
// to be replaced, and be put back. A copy of the new text, ".NAME.NUMBER.undo", stands until the
// exchange is final. By it the next run knows what a killed one had exchanged, and takes that back,
// unless somebody has written something else to NAME meanwhile.
//
// Where the file system cannot exchange, the new file is renamed over the old one, and an old file
// that is written in place keeps its name. Both are final at once.
#ifndef QVX_OS_FILE_EXCHANGE_H
#define QVX_OS_FILE_EXCHANGE_H

#include <functional>
#include <string>
#include <vector>

#include "os/descriptor.h"
#include "os/file_replacement.h"

namespace qvx {

enum class Outcome {
  kDone,
  kChanged,  ///< another file stands there than the one that was meant, and stays
  kFailed,   ///< everything is as it was
};

class FileExchange {
 public:
  /// Says whether the file at a path is the one that may be replaced.
  using Judge = std::function<bool(const std::string& path)>;

  /// `file` is the replacement of the file at `path`, the last name of which is no link that was
  /// followed, and has the content `text`. It belongs to the caller, who keeps it longer than this
  /// object.
  FileExchange(FileReplacement& file, const std::string& path, std::string text,
               Judge may_be_replaced);
  /// Takes an exchange back that was not accepted, unless something else has taken the place.
  ~FileExchange();
  FileExchange(const FileExchange&) = delete;
  FileExchange& operator=(const FileExchange&) = delete;
  FileExchange(FileExchange&&) = delete;
  FileExchange& operator=(FileExchange&&) = delete;

  Outcome Exchange();

  /// Returns whether the new text still stands in its place, as far as it can be taken back.
  bool Stands() const;

  /// Makes the exchange final.
  void Accept();

 private:
  bool MakeUndo();
  Outcome Swap();

  FileReplacement& file_;
  std::string directory_;  // in front of a name
  std::string name_;
  std::string old_;  // empty, as `undo_`, when the file is written in place or not at all
  std::string undo_;
  std::string text_;
  Judge may_be_replaced_;
  bool can_be_taken_back_ = false;
};

/// Whose exchanges are taken back.
enum class Runs {
  kAll,    ///< the caller has a lock that keeps other runs away
  kEnded,  ///< only those of runs that hold no new file any more
};

/// Takes back what other runs exchanged at `names` in the directory `path`, which ends in a slash,
/// and did not make final. A run's exchanges are taken back together, as long as that of the first
/// name is not final. Removes what is left of them.
void TakeBackExchanges(const std::string& path, const std::vector<std::string>& names, Runs runs);

}  // namespace qvx

#endif
