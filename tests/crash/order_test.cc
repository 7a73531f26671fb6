// The power goes at any moment of a change of a library, on a disk that keeps for sure only what
// was synced: the change is then there whole or not at all, and whole once it was answered. A kill
// shows none of this, for the system outlives it with all that was written.
//
// QUORVIN_CRASH_THOROUGH=1 looks at every moment and at many more of the disks that may be found.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/crash/change_of_a_library.h"
#include "tests/crash/changer_process.h"
#include "tests/crash/disk_model.h"

namespace quorvin {
namespace {

using Kind = FileOperation::Kind;

/// Takes long, or differs little from another one.
bool isLong(std::string_view job) {
  constexpr std::array<std::string_view, 5> kLong = {"saveMotionPhoto", "importTen",
                                                     "firstMigration", "snapshot", "complete"};
  return std::ranges::find(kLong, job) != kLong.end();
}

bool isSync(const FileOperation& operation) {
  return operation.kind == Kind::sync || operation.kind == Kind::syncAll;
}

/// The numbers of operations after which the power goes: all, or some of those that tell something.
std::vector<std::size_t> momentsOf(const std::vector<FileOperation>& operations) {
  constexpr std::size_t kSome = 15;
  std::vector<std::size_t> moments;
  for (std::size_t count = 0; count <= operations.size(); ++count) {
    // Between two writes nothing is promised that is not promised after the second.
    const bool isTelling = count == operations.size() || isSync(operations[count]) ||
                           operations[count].kind == Kind::rename ||
                           (count > 0 && isSync(operations[count - 1]));
    if (isTelling || isThorough()) moments.push_back(count);
  }
  if (isThorough()) return moments;
  // The last ones are those around the answer.
  const std::size_t step = moments.size() / kSome + 1;
  std::vector<std::size_t> some;
  for (std::size_t at = (moments.size() - 1) % step; at < moments.size(); at += step) {
    some.push_back(moments[at]);
  }
  return some;
}

class PowerCuts : public testing::TestWithParam<const char*> {};

TEST_P(PowerCuts, LeaveEveryChangeWholeOrNotBegun) {
  if (isLong(GetParam()) && !isThorough()) {
    GTEST_SKIP() << "QUORVIN_CRASH_THOROUGH is not set";
  }
  ChangeOfALibrary change(GetParam());
  ASSERT_TRUE(change.changesSomething());
  ASSERT_LT(change.answered(), change.operations().size());
  for (const std::size_t count : momentsOf(change.operations())) {
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

INSTANTIATE_TEST_SUITE_P(, PowerCuts,
                         testing::Values("saveImage", "saveMotionPhoto", "saveIntoAlbum",
                                         "createAlbum", "deleteAssets", "restore", "emptyTrash",
                                         "importPair", "importTen", "migrate", "firstMigration",
                                         "snapshot", "firstSnapshot", "begin", "complete",
                                         "repair"),
                         [](const auto& info) { return std::string(info.param); });

}  // namespace
}  // namespace quorvin
