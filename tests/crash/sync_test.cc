// What is made durable is made so for a reason: with any one sync left out, a disk that may be
// found after a power cut has lost something.
//
// QUORVIN_CRASH_THOROUGH=1 leaves out one after the other, and not only those of the log.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <set>
#include <string>

#include "tests/crash/change_of_a_library.h"
#include "tests/crash/changer_process.h"

namespace quorvin {
namespace {

using Kind = FileOperation::Kind;

bool isOfCatalogue(const FileOperation& operation) {
  return operation.path.ends_with("library.sqlite");
}

bool isOfLog(const FileOperation& operation) {
  return operation.path.ends_with("library.sqlite-wal");
}

/// SQLite's own are its own matter. One of the folder follows that of a file which it may have
/// made.
bool isOfSqlite(const std::vector<FileOperation>& operations, std::size_t sync) {
  const auto isFile = [](const FileOperation& operation) {
    return isOfCatalogue(operation) || isOfLog(operation) ||
           operation.path.ends_with("library.sqlite-journal");
  };
  if (isFile(operations[sync])) return true;
  if (sync == 0 || operations[sync - 1].kind != Kind::sync) return false;
  const std::string& before = operations[sync - 1].path;
  const std::size_t slash = before.rfind('/');
  return isFile(operations[sync - 1]) &&
         operations[sync].path == (slash == std::string::npos ? "" : before.substr(0, slash));
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

/// Of the folders of a library without a catalogue: the catalogue's own comes after it. Where they
/// alone are missing, there is no other.
bool isBeforeCatalogue(const std::vector<FileOperation>& operations, std::size_t sync) {
  const std::string& folder = operations[sync].path;
  const auto isMaking = [&folder](const FileOperation& other) {
    return other.kind == Kind::createFile && isOfCatalogue(other) &&
           other.path.starts_with(folder + "/library.");
  };
  const auto next = operations.begin() + static_cast<std::ptrdiff_t>(sync) + 1;
  return std::any_of(next, operations.end(), isMaking);
}

class Syncs : public testing::TestWithParam<const char*> {};

TEST_P(Syncs, AreAllNeeded) {
  if (!isThorough()) GTEST_SKIP() << "QUORVIN_CRASH_THOROUGH is not set";
  ChangeOfALibrary change(GetParam());
  const std::vector<FileOperation>& operations = change.operations();
  int syncs = 0;
  for (std::size_t sync = 0; sync < change.answered(); ++sync) {
    const FileOperation& operation = operations[sync];
    const bool isSync = operation.kind == Kind::sync || operation.kind == Kind::syncAll;
    if (!isSync || isOfSqlite(operations, sync)) continue;
    if (isOfEmptyList(operations, sync) || isBeforeCatalogue(operations, sync)) continue;
    ++syncs;
    EXPECT_TRUE(change.needs({sync}))
        << "nothing shows that operation " << sync << ", " << describe(operation) << ", is needed";
  }
  EXPECT_GT(syncs, 0);
  std::cout << syncs << " syncs, " << change.disks() << " disks\n";
}

INSTANTIATE_TEST_SUITE_P(, Syncs,
                         testing::Values("saveImage", "saveVideo", "saveMotionPhoto", "importPair",
                                         "importTen", "emptyTrash", "migrate", "firstSnapshot",
                                         "snapshot", "begin", "complete"),
                         [](const auto& info) { return std::string(info.param); });

/// The syncs with which commits end, and not those with which the log is brought into the
/// catalogue: these are all that a database has which syncs at checkpoints alone.
std::set<std::size_t> syncsOfCommits(const ChangeOfALibrary& change) {
  const std::vector<FileOperation>& operations = change.operations();
  std::set<std::size_t> syncs;
  for (std::size_t i = 0; i < change.answered(); ++i) {
    if (operations[i].kind != Kind::sync || !isOfLog(operations[i])) continue;
    const auto next = std::find_if(
        operations.begin() + static_cast<std::ptrdiff_t>(i) + 1, operations.end(),
        [](const FileOperation& other) { return isOfCatalogue(other) || isOfLog(other); });
    if (next == operations.end() || !isOfCatalogue(*next)) syncs.insert(i);
  }
  return syncs;
}

class Commits : public testing::TestWithParam<const char*> {};

TEST_P(Commits, AreLostUnlessTheLogIsSynced) {
  if (GetParam() == std::string("importTen") && !isThorough()) {
    GTEST_SKIP() << "QUORVIN_CRASH_THOROUGH is not set, and one commit is as another";
  }
  ChangeOfALibrary change(GetParam());
  const std::set<std::size_t> syncs = syncsOfCommits(change);
  ASSERT_FALSE(syncs.empty());
  EXPECT_TRUE(change.needs(syncs));
}

INSTANTIATE_TEST_SUITE_P(, Commits,
                         testing::Values("saveImage", "saveIntoAlbum", "createAlbum",
                                         "deleteAssets", "emptyTrash", "importTen", "begin"),
                         [](const auto& info) { return std::string(info.param); });

}  // namespace
}  // namespace quorvin
