// The power goes at any moment of a change of a library, on a disk that keeps for sure only what
// was synced: the change is then there whole or not at all, and whole once it was answered. A kill
// shows none of this, for the system outlives it with all that was written.
//
// QUORVIN_CRASH_THOROUGH=1 looks at every moment and at many more of the disks that may be found.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <random>
#include <string>

#include "testing/platform/testing_folder.h"
#include "tests/crash/changer_process.h"
#include "tests/crash/disk_model.h"
#include "tests/crash/library_state.h"

namespace quorvin {
namespace {

using Kind = FileOperation::Kind;
using Lost = std::set<std::size_t>;

/// A library before, during and after one change.
class ChangeOfALibrary {
 public:
  explicit ChangeOfALibrary(const std::string& job) {
    run("prepare");
    before_ = readDisk(library());
    stateBefore_ = stateOf(before_);
    const std::string record = folder_ / "record";
    ::setenv("QUORVIN_CRASH_RECORD", record.c_str(), 1);
    run(job);
    ::unsetenv("QUORVIN_CRASH_RECORD");
    operations_ = readRecord(record);
    stateAfter_ = stateOf(readDisk(library()));
    answered_ = static_cast<std::size_t>(
        std::ranges::find(operations_, Kind::answer, &FileOperation::kind) - operations_.begin());
  }

  const std::vector<FileOperation>& operations() const { return operations_; }
  /// The index of the answer.
  std::size_t answered() const { return answered_; }
  const DiskState& before() const { return before_; }
  bool changesSomething() const { return stateBefore_ != stateAfter_; }

  /// What is wrong with the library that is found on the disk after `count` operations; empty when
  /// nothing is.
  std::string wrongWith(const DiskState& disk, std::size_t count) {
    // Most disks are found after several moments.
    const auto [known, isNew] = found_.try_emplace(fingerprintOf(disk));
    Found& found = known->second;
    if (isNew) found = look(disk);
    if (!found.wrong.empty() || found.isChanged) return found.wrong;
    return count > answered_ ? "what was answered is not there" : "";
  }

  std::size_t disks() const { return found_.size(); }

 private:
  struct Found {
    std::string wrong;
    bool isChanged = false;  ///< else it is as before
  };

  Found look(const DiskState& disk) {
    std::string findings;
    const auto state = stateOf(disk, &findings);
    if (!state) return {"it cannot be read"};
    if (!findings.empty()) return {findings};
    for (const auto& [identifier, asset] : state->assets) {
      if (!isWhole({asset.name, place() + "/" + asset.original}))
        return {identifier + " is damaged"};
    }
    if (state == stateAfter_) return {"", true};
    if (state == stateBefore_) return {};
    return {"it is neither what it was nor what it was to be"};
  }

  std::string library() const { return folder_ / "library"; }
  std::string place() const { return folder_ / "found"; }

  void run(const std::string& job) {
    ChangerProcess changer(library(), job, 1);
    ASSERT_EQ(changer.wait(kPatience), 0) << job;
    ASSERT_EQ(changer.lines().back().front(), "end");
  }

  /// Of the library on this disk, with paths of originals that do not depend on its place.
  std::optional<LibraryState> stateOf(const DiskState& disk, std::string* findings = nullptr) {
    std::filesystem::remove_all(place());
    writeDisk(disk, place());
    auto state = readState(place());
    if (!state) return std::nullopt;
    if (findings != nullptr) *findings = findingsIn(place());
    for (auto& [identifier, asset] : state->assets) asset.original.erase(0, place().size() + 1);
    return *state;
  }

  TemporaryFolder folder_;
  DiskState before_;
  std::optional<LibraryState> stateBefore_;
  std::optional<LibraryState> stateAfter_;
  std::vector<FileOperation> operations_;
  std::size_t answered_ = 0;
  std::map<std::size_t, Found> found_;  ///< by fingerprint
};

/// Calls `look` with disks that may be found after the cut, the likeliest to do harm first, until
/// it answers false.
void forDisksAfter(const PowerCut& cut, int randomDisks,
                   const std::function<bool(const DiskState&, const std::string&)>& look) {
  const std::vector<std::size_t>& open = cut.unsettled();
  const Lost all(open.begin(), open.end());
  Lost content;
  Lost entries;
  for (const std::size_t each : open) (cut.isContent(each) ? content : entries).insert(each);
  if (!look(cut.without({}), "all is there")) return;
  if (open.empty()) return;
  if (!look(cut.without(all), "nothing unsynced is there")) return;
  if (!content.empty() && !entries.empty()) {
    if (!look(cut.without(content), "unsynced content is lost")) return;
    if (!look(cut.without(entries), "unsynced entries are lost")) return;
  }
  for (const std::size_t each : open) {
    const std::string which = "operation " + std::to_string(each);
    if (open.size() > 1 && !look(cut.without({each}), which + " alone is lost")) return;
    Lost others = all;
    others.erase(each);
    if (open.size() > 2 && !look(cut.without(others), which + " alone is there")) return;
    if (cut.isContent(each) && !look(cut.without({}, each), which + " is there in half")) return;
  }
  std::mt19937 random(static_cast<unsigned>(open.back()));
  for (int i = 0; i < randomDisks && open.size() > 2; ++i) {
    Lost some;
    for (const std::size_t each : open) {
      if (random() % 2 == 0) some.insert(each);
    }
    if (!look(cut.without(some), "some of it is lost")) return;
  }
}

std::string describe(const FileOperation& operation) {
  constexpr std::array kNames = {"make file", "make folder",   "write", "truncate", "rename",
                                 "remove",    "remove folder", "sync",  "answer"};
  return std::string(kNames[static_cast<std::size_t>(operation.kind)]) + " " + operation.path;
}

class PowerCuts : public testing::TestWithParam<const char*> {};

TEST_P(PowerCuts, LeaveEveryChangeWholeOrNotBegun) {
  ChangeOfALibrary change(GetParam());
  ASSERT_TRUE(change.changesSomething());
  ASSERT_LT(change.answered(), change.operations().size());
  for (std::size_t count = 0; count <= change.operations().size(); ++count) {
    // Between two writes nothing is promised that is not promised after the second.
    const bool isTelling = count == change.operations().size() ||
                           change.operations()[count].kind == Kind::sync ||
                           change.operations()[count].kind == Kind::rename ||
                           (count > 0 && change.operations()[count - 1].kind == Kind::sync);
    if (!isTelling && !isThorough()) continue;
    const PowerCut cut(change.before(), change.operations(), count);
    forDisksAfter(cut, isThorough() ? 20 : 0, [&](const DiskState& disk, const std::string& what) {
      const std::string wrong = change.wrongWith(disk, count);
      EXPECT_EQ(wrong, "") << "after " << count << " operations, "
                           << (count > 0 ? describe(change.operations()[count - 1]) : "none")
                           << " the last: " << what;
      return true;
    });
    if (HasFailure()) break;
  }
  std::cout << change.disks() << " disks\n";
}

/// Of originals and of what is on its way there. SQLite's own syncs are its own matter; that they
/// are made shows in the changes that need no file.
bool isOurs(const FileOperation& operation) {
  return operation.kind == Kind::sync &&
         (operation.path.starts_with("originals") || operation.path.starts_with("incoming"));
}

/// Of a list that is still empty. It makes later writes to the list quick to sync, and nothing
/// hangs on it.
bool isOfEmptyList(const std::vector<FileOperation>& operations, std::size_t sync) {
  const auto isListed = [&](const FileOperation& other) {
    return other.path == operations[sync].path && other.bytes.find('/') != std::string::npos;
  };
  const auto end = operations.begin() + static_cast<std::ptrdiff_t>(sync);
  return operations[sync].path.ends_with(".list") &&
         std::none_of(operations.begin(), end, isListed);
}

class SyncsOfASave : public testing::TestWithParam<const char*> {};

TEST_P(SyncsOfASave, AreAllNeeded) {
  if (!isThorough()) GTEST_SKIP() << "QUORVIN_CRASH_THOROUGH is not set";
  ChangeOfALibrary change(GetParam());
  int syncs = 0;
  for (std::size_t sync = 0; sync < change.answered(); ++sync) {
    if (!isOurs(change.operations()[sync]) || isOfEmptyList(change.operations(), sync)) continue;
    ++syncs;
    bool isMissed = false;
    for (std::size_t count = change.operations().size(); count > sync && !isMissed; --count) {
      const PowerCut cut(change.before(), change.operations(), count, sync);
      forDisksAfter(cut, 0, [&](const DiskState& disk, const std::string&) {
        isMissed = !change.wrongWith(disk, count).empty();
        return !isMissed;
      });
    }
    EXPECT_TRUE(isMissed) << "nothing shows that operation " << sync << ", "
                          << describe(change.operations()[sync]) << ", is needed";
  }
  EXPECT_GT(syncs, 2);
  std::cout << syncs << " syncs, " << change.disks() << " disks\n";
}

INSTANTIATE_TEST_SUITE_P(, SyncsOfASave, testing::Values("saveImage", "saveVideo"),
                         [](const auto& info) { return std::string(info.param); });

INSTANTIATE_TEST_SUITE_P(, PowerCuts,
                         testing::Values("saveImage", "saveIntoAlbum", "createAlbum",
                                         "deleteAssets", "restore", "emptyTrash"),
                         [](const auto& info) { return std::string(info.param); });

}  // namespace
}  // namespace quorvin
