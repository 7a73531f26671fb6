// One change of a library, with all that was done to the disk for it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "testing/platform/testing_folder.h"
#include "tests/crash/disk_model.h"
#include "tests/crash/file_record.h"
#include "tests/crash/library_state.h"

namespace quorvin {

/// A library before, during and after the change. One thread.
class ChangeOfALibrary {
 public:
  /// A job of the changer, or one of these. "begin" makes a library, and the folders above it, and
  /// saves into it; "complete" saves into a library whose folders were lost while they were empty.
  /// "migrate" and "firstMigration" open a library of the first version, with snapshots and
  /// without. "snapshot" and "firstSnapshot" make one too many, and one where there is none.
  /// "repair" makes a damaged catalogue anew.
  explicit ChangeOfALibrary(const std::string& job);

  const std::vector<FileOperation>& operations() const { return operations_; }
  /// The index of the answer.
  std::size_t answered() const { return answered_; }
  const DiskState& before() const { return diskBefore_; }
  bool changesSomething() const { return before_ && after_ && before_ != after_; }

  /// What is wrong with the library that is found on the disk after `count` operations; empty when
  /// nothing is.
  std::string wrongWith(const DiskState& disk, std::size_t count);

  /// Whether anything is wrong with a disk that may be found when these syncs are not made.
  bool needs(const std::set<std::size_t>& syncs);

  /// That were looked at.
  std::size_t disks() const { return found_.size(); }

 private:
  struct Standing {
    LibraryState state;
    std::int64_t version = 0;  ///< of the catalogue, where it changes; 0: it is damaged
    std::string snapshot;      ///< the newest, where one is made
    friend bool operator==(const Standing&, const Standing&) = default;
  };
  struct Found {
    std::string wrong;
    bool isChanged = false;  ///< else it is as before
  };

  std::string root() const { return folder_ / "disk"; }
  std::string library() const { return root() + within_; }
  std::string place() const { return folder_ / "found"; }
  std::string libraryFound() const { return place() + within_; }
  void prepare();
  std::string work() const;  ///< the changer's job
  void run(const std::string& job);
  Found look(const DiskState& disk);
  std::string wrongWithSnapshots(const std::vector<SnapshotState>& snapshots,
                                 std::int64_t version) const;
  std::optional<Standing> standingOn(const DiskState& disk, std::string& wrong);

  const std::string job_;
  TemporaryFolder folder_;
  std::string within_;  ///< the library's place beneath what is recorded
  DiskState diskBefore_;
  std::optional<Standing> before_;
  std::optional<Standing> after_;
  std::string snapshotBefore_;
  std::vector<FileOperation> operations_;
  std::size_t answered_ = 0;
  std::map<std::size_t, Found> found_;  ///< by fingerprint
};

/// Calls `look` with disks that may be found after the cut, the likeliest to do harm first, until
/// it answers false.
void forDisksAfter(const PowerCut& cut, int randomDisks,
                   const std::function<bool(const DiskState&, const std::string&)>& look);

std::string describe(const FileOperation& operation);

}  // namespace quorvin
