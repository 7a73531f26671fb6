#include "tests/crash/change_of_a_library.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/catalogue/schema.h"
#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/upkeep/check.h"
#include "testing/platform/testing_library.h"
#include "tests/crash/changer_process.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;
using Lost = std::set<std::size_t>;

constexpr std::size_t kPage = 4096;  // bytes of the catalogue

// As it stands there, with nothing done to it.
std::int64_t versionOf(const std::string& library) {
  const auto database = Database::open(library + "/library.sqlite", Database::Use::read);
  return database ? (*database)->integer("PRAGMA user_version").value_or(0) : 0;
}

}  // namespace

ChangeOfALibrary::ChangeOfALibrary(const std::string& job)
    : job_(job), within_(job == "begin" ? "/new/place/library" : "") {
  prepare();
  diskBefore_ = readDisk(root());
  const std::vector<SnapshotState> snapshots = snapshotsIn(library());
  if (!snapshots.empty()) snapshotBefore_ = snapshots.front().path;
  std::string wrong;
  before_ = standingOn(diskBefore_, wrong);
  EXPECT_EQ(wrong, "");
  const std::string record = folder_ / "record";
  ::setenv("QUORVIN_CRASH_RECORD", record.c_str(), 1);
  run(work());
  ::unsetenv("QUORVIN_CRASH_RECORD");
  operations_ = readRecord(record);
  after_ = standingOn(readDisk(root()), wrong);
  EXPECT_EQ(wrong, "");
  answered_ = static_cast<std::size_t>(
      std::ranges::find(operations_, FileOperation::Kind::answer, &FileOperation::kind) -
      operations_.begin());
}

void ChangeOfALibrary::prepare() {
  if (job_ == "begin") {
    fs::create_directory(root());
    return;
  }
  if (job_ == "complete") {
    run("open");
    for (const char* part : {"originals", "derivatives", "incoming"}) {
      fs::remove(library() + "/" + part);
    }
    return;
  }
  run("prepare");
  if (work() == "open") {
    Gardener gardener(library());
    gardener.makeFirstVersion();
    gardener.run("PRAGMA wal_checkpoint(TRUNCATE)");
  }
  if (job_ == "repair") {
    std::fstream(library() + "/library.sqlite", std::ios::binary | std::ios::in | std::ios::out)
        << std::string(kPage, 'x');
  }
  if (job_.starts_with("first") || job_ == "repair") fs::remove_all(library() + "/snapshots");
  if (job_ == "snapshot") {
    for (int i = 0; i < 3; ++i) run("snapshot");
  }
}

std::string ChangeOfALibrary::work() const {
  if (job_ == "complete") return "begin";
  if (job_ == "firstSnapshot") return "snapshot";
  return job_ == "migrate" || job_ == "firstMigration" ? "open" : job_;
}

void ChangeOfALibrary::run(const std::string& job) {
  ChangerProcess changer(library(), job, 1);
  ASSERT_EQ(changer.wait(kPatience), 0) << job;
  for (const Line& line : changer.lines()) {
    ASSERT_NE(line.front(), "error") << testing::PrintToString(line);
  }
  ASSERT_EQ(changer.lines().back().front(), "end");
}

std::string ChangeOfALibrary::wrongWith(const DiskState& disk, std::size_t count) {
  // Most disks are found after several moments.
  const auto [known, isNew] = found_.try_emplace(fingerprintOf(disk));
  Found& found = known->second;
  if (isNew) found = look(disk);
  if (!found.wrong.empty() || found.isChanged) return found.wrong;
  return count > answered_ ? "what was answered is not there" : "";
}

bool ChangeOfALibrary::needs(const std::set<std::size_t>& syncs) {
  // Most are missed as soon as all is said to be done.
  std::vector<std::size_t> counts;
  for (std::size_t i = answered_ + 1; i <= operations_.size(); ++i) counts.push_back(i);
  for (std::size_t i = answered_; i > *syncs.begin(); --i) counts.push_back(i);
  bool isMissed = false;
  for (const std::size_t count : counts) {
    const PowerCut cut(diskBefore_, operations_, count, syncs);
    forDisksAfter(cut, 0, [&](const DiskState& disk, const std::string&) {
      isMissed = !wrongWith(disk, count).empty();
      return !isMissed;
    });
    if (isMissed) return true;
  }
  return false;
}

ChangeOfALibrary::Found ChangeOfALibrary::look(const DiskState& disk) {
  std::string wrong;
  const auto standing = standingOn(disk, wrong);
  if (!wrong.empty()) return {wrong};
  const std::string findings = findingsIn(libraryFound());
  if (!findings.empty()) return {findings};
  for (const auto& [identifier, asset] : standing->state.assets) {
    LibraryState::Asset there = asset;
    for (std::string& original : there.originals) original.insert(0, libraryFound() + "/");
    if (!isWhole(there)) return {identifier + " is damaged"};
  }
  if (standing == after_) return {"", true};
  if (standing == before_) return {};
  return {"it is neither what it was nor what it was to be"};
}

std::string ChangeOfALibrary::wrongWithSnapshots(const std::vector<SnapshotState>& snapshots,
                                                 std::int64_t version) const {
  for (const SnapshotState& snapshot : snapshots) {
    if (!snapshot.isWhole) return "the snapshot " + snapshot.path + " is torn";
  }
  const std::string newest = snapshots.empty() ? "" : snapshots.front().path;
  if (newest < snapshotBefore_) return "the newest snapshot was lost";
  if (work() != "open" || version != kSchemaVersion) return "";
  const bool isKept = !snapshots.empty() && snapshots.front().version < version;
  return isKept ? "" : "it was brought up to date, and there is no snapshot of before";
}

/// With paths of originals that do not depend on the place.
std::optional<ChangeOfALibrary::Standing> ChangeOfALibrary::standingOn(const DiskState& disk,
                                                                       std::string& wrong) {
  fs::remove_all(place());
  writeDisk(disk, place());
  Standing standing;
  const std::vector<SnapshotState> snapshots = snapshotsIn(libraryFound());
  if (work() == "open" || job_ == "repair") standing.version = versionOf(libraryFound());
  if (work() == "snapshot" && !snapshots.empty()) standing.snapshot = snapshots.front().path;
  wrong = wrongWithSnapshots(snapshots, standing.version);
  if (job_ == "repair" && standing.version == 0) {
    const auto report = checkLibrary(libraryFound(), {.repair = true});
    if (!report) wrong = "it cannot be repaired: " + report.error().sentence();
  }
  auto state = readState(libraryFound());
  if (!state) {
    wrong = "it cannot be read: " + state.error().sentence();
    return std::nullopt;
  }
  standing.state = *std::move(state);
  for (auto& [identifier, asset] : standing.state.assets) {
    for (std::string& original : asset.originals) original.erase(0, libraryFound().size() + 1);
  }
  return standing;
}

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
                                 "remove",    "remove folder", "sync",  "sync all", "answer"};
  return std::string(kNames[static_cast<std::size_t>(operation.kind)]) + " " + operation.path;
}

}  // namespace quorvin
