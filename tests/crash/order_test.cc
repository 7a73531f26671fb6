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

class PowerCuts : public testing::TestWithParam<const char*> {};

TEST_P(PowerCuts, LeaveEveryChangeWholeOrNotBegun) {
  if (isLong(GetParam()) && !isThorough()) {
    GTEST_SKIP() << "QUORVIN_CRASH_THOROUGH is not set";
  }
  ChangeOfALibrary change(GetParam());
  ASSERT_TRUE(change.changesSomething());
  ASSERT_LT(change.answered(), change.operations().size());
  for (std::size_t count = 0; count <= change.operations().size(); ++count) {
    // Between two writes nothing is promised that is not promised after the second.
    const bool isTelling = count == change.operations().size() ||
                           isSync(change.operations()[count]) ||
                           change.operations()[count].kind == Kind::rename ||
                           (count > 0 && isSync(change.operations()[count - 1]));
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

INSTANTIATE_TEST_SUITE_P(, PowerCuts,
                         testing::Values("saveImage", "saveMotionPhoto", "saveIntoAlbum",
                                         "createAlbum", "deleteAssets", "restore", "emptyTrash",
                                         "importPair", "importTen", "migrate", "firstMigration",
                                         "snapshot", "firstSnapshot", "begin", "complete",
                                         "repair"),
                         [](const auto& info) { return std::string(info.param); });

}  // namespace
}  // namespace quorvin
