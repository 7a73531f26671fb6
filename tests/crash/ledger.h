// What a library must hold, by what its changers were answered.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/crash/changer_process.h"
#include "tests/crash/library_state.h"

namespace quorvin {

/// One thread.
class Ledger {
 public:
  /// Takes down what one changer told, from its start to its end. An error that it was answered
  /// fails the test.
  void note(const std::vector<Line>& lines);

  /// Fails the test unless all that was answered is there whole, and what had no answer yet is
  /// there whole or not at all. Takes that into account from now on.
  void compare(const LibraryState& state);

  /// Fails the test unless every snapshot is whole, and the newest one that was made is there, or
  /// a newer one.
  void compareSnapshots(const std::vector<SnapshotState>& snapshots) const;

  std::size_t acknowledged() const { return acknowledged_; }
  std::size_t backups() const { return backups_; }  ///< that were acknowledged

 private:
  struct Asset {
    std::string name;
    std::string album;  ///< empty: in none
  };

  void settle(const Line& started, const Line& done);
  void compareDeletions(const LibraryState& state);
  void compareAlbums(const LibraryState& state);
  void compareAssets(const LibraryState& state);
  void compareMembers(const LibraryState& state) const;
  /// Takes a change that has no answer out of the list; false when there is none like it.
  bool takePending(const Line& started);
  void compareImports(const LibraryState& state);

  std::map<std::string, Asset> assets_;
  std::map<std::string, std::string> albums_;  ///< titles
  std::set<std::string> imported_;  ///< names of assets whose identifier is not known yet
  std::set<std::string> deleted_;
  std::string newestSnapshot_;
  std::size_t backups_ = 0;
  std::vector<Line> pending_;
  std::size_t acknowledged_ = 0;
};

}  // namespace quorvin
