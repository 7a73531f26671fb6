// A disk that loses power: what may stand on it when only what was synced is sure to be there.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/crash/file_record.h"

namespace quorvin {

/// The files of a folder with their content, and its folders, by relative path.
struct DiskState {
  std::map<std::string, std::shared_ptr<const std::string>> files;
  std::set<std::string> folders;
};

/// What the folder (absolute) holds. Files that SQLite keeps for running processes alone,
/// locks, and space that is kept back are left out.
DiskState readDisk(const std::string& folder);

/// Equal for disks that hold the same.
std::size_t fingerprintOf(const DiskState& state);

/// Makes the folder, which must not be there, hold just this.
void writeDisk(const DiskState& state, const std::string& folder);

/// The operations up to a moment, and what of them the disk owes to nobody: content that was
/// written after the last sync of its file, and entries that were made, renamed or removed after
/// the last sync of their folder. These may be there or not, in any combination, and content in
/// part.
class PowerCut {
 public:
  /// The first `count` operations on a disk that held `before`. Syncs can be left out of account,
  /// as if the program had forgotten them.
  PowerCut(const DiskState& before, const std::vector<FileOperation>& operations, std::size_t count,
           const std::set<std::size_t>& forgottenSyncs = {});

  /// Indexes of the operations that may be lost.
  const std::vector<std::size_t>& unsettled() const { return unsettled_; }
  bool isContent(std::size_t operation) const;

  /// The disk without the operations of `lost`, and with only the first half of the bytes of
  /// `torn`.
  DiskState without(const std::set<std::size_t>& lost, std::optional<std::size_t> torn = {}) const;

 private:
  struct Replay;

  const DiskState& before_;
  const std::vector<FileOperation>& operations_;
  const std::size_t count_;
  std::vector<std::size_t> unsettled_;
  /// For each operation the file that it is about, by a number that stays when the file is renamed;
  /// -1 where it is about a folder.
  std::vector<int> files_;
  std::size_t standing_ = 0;  ///< files that were there before: the first numbers
};

}  // namespace quorvin
