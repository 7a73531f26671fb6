// One call to the system after the other goes wrong, in each way, in every change of a library:
// the change is then there whole or not at all, as was answered, and the library is sound.
//
// QUORVIN_CRASH_THOROUGH=1 lets every call go wrong in every way, and not some.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <string>

#include "testing/platform/testing_folder.h"
#include "testing/platform/testing_library.h"
#include "tests/crash/changer_process.h"
#include "tests/crash/library_state.h"

namespace quorvin {
namespace {

constexpr int kMostCalls = 1000;

using FaultKind = Fault::Kind;

/// A way of going wrong.
struct Way {
  const char* calls;
  FaultKind kind;
  int errorNumber = 0;
  bool isRare = false;  ///< left out of a quick run
};

constexpr Way kWays[] = {
    {"any", FaultKind::kill},
    {"write", FaultKind::killHalf},
    {"pwrite", FaultKind::killHalf},
    {"copy", FaultKind::killHalf},
    {"any", FaultKind::failOn, EIO},       // the disk is gone
    {"space", FaultKind::failOn, ENOSPC},  // the disk is full
    {"fsync", FaultKind::fail, EIO},
    {"fdatasync", FaultKind::fail, EIO},
    {"unlink", FaultKind::fail, EIO},
    {"rename", FaultKind::fail, EIO},
    {"write", FaultKind::fail, EIO, true},
    {"write", FaultKind::fail, ENOSPC, true},
    {"pwrite", FaultKind::fail, EIO, true},
    {"pwrite", FaultKind::fail, ENOSPC, true},
    {"fsync", FaultKind::fail, ENOSPC, true},
    {"rename", FaultKind::fail, ENOSPC, true},
    {"mkdir", FaultKind::fail, EIO, true},
    {"mkdir", FaultKind::fail, ENOSPC, true},
    {"create", FaultKind::fail, EIO, true},
    {"create", FaultKind::fail, ENOSPC, true},
    {"copy", FaultKind::fail, EIO, true},
    {"copy", FaultKind::fail, ENOSPC, true},
    {"truncate", FaultKind::fail, EIO, true},
    {"open", FaultKind::failOn, EMFILE},  // no descriptor is left
    {"open", FaultKind::fail, EMFILE},
};

std::string describe(const Fault& fault) {
  const std::string which = fault.calls + " " + std::to_string(fault.number);
  switch (fault.kind) {
    case FaultKind::fail:
      return which + " fails with " + std::to_string(fault.errorNumber);
    case FaultKind::failOn:
      return "from " + which + " on all fail with " + std::to_string(fault.errorNumber);
    case FaultKind::kill:
      return "killed before " + which;
    case FaultKind::killHalf:
      return "killed in the middle of " + which;
  }
  return which;
}

std::size_t sizeOfAlbums(const LibraryState& state) {
  std::size_t assets = 0;
  for (const auto& [identifier, album] : state.albums) assets += album.assets.size();
  return assets;
}

/// A change, and how one sees that it was made.
struct Operation {
  const char* job;
  bool (*isDone)(const LibraryState& before, const LibraryState& after);
};

void PrintTo(const Operation& operation, std::ostream* out) {
  *out << operation.job;
}

bool hasOneMore(const LibraryState& before, const LibraryState& after) {
  return after.assets.size() == before.assets.size() + 1 && after.trash == before.trash;
}

const Operation kOperations[] = {
    {"saveImage",
     [](const LibraryState& before, const LibraryState& after) {
       return hasOneMore(before, after) && after.albums == before.albums;
     }},
    {"saveVideo",
     [](const LibraryState& before, const LibraryState& after) {
       return hasOneMore(before, after) && after.albums == before.albums;
     }},
    {"saveIntoAlbum",
     [](const LibraryState& before, const LibraryState& after) {
       return hasOneMore(before, after) && sizeOfAlbums(after) == sizeOfAlbums(before) + 1;
     }},
    {"createAlbum",
     [](const LibraryState& before, const LibraryState& after) {
       return after.albums.size() == before.albums.size() + 1 && after.assets == before.assets;
     }},
    {"deleteAssets",
     [](const LibraryState& before, const LibraryState& after) {
       return after.assets.size() + 2 == before.assets.size() &&
              after.trash.size() == before.trash.size() + 2;
     }},
    {"restore",
     [](const LibraryState& before, const LibraryState& after) {
       return after.assets.size() == before.assets.size() + before.trash.size() &&
              after.trash.empty();
     }},
    {"emptyTrash",
     [](const LibraryState& before, const LibraryState& after) {
       return after.assets == before.assets && after.trash.empty();
     }},
};

class Faults : public testing::Test {
 protected:
  void SetUp() override {
    ChangerProcess changer(prepared(), "prepare", 1);
    ASSERT_EQ(changer.wait(kPatience), 0);
    ASSERT_EQ(changer.lines().back().front(), "end");
    ASSERT_EQ(findingsIn(prepared()), "");
  }

  std::string prepared() const { return folder_ / "prepared"; }

  /// A new copy of what was prepared.
  std::string library() {
    std::filesystem::remove_all(library_);
    library_ = folder_ / ("library" + std::to_string(++number_));
    std::filesystem::copy(prepared(), library_, std::filesystem::copy_options::recursive);
    return library_;
  }
  /// Where there is no library.
  std::string nowhere() {
    std::filesystem::remove_all(library_);
    library_ = folder_ / ("library" + std::to_string(++number_));
    return library_;
  }

  /// Runs `check` with the first, second, … call going wrong, until there is no such call.
  void forEveryCall(const Way& way, const std::function<bool(const Fault&)>& check) {
    if (way.isRare && !isThorough()) return;
    const int step = isThorough() ? 1 : 23;
    // The calls of a quick run are other ones from one way to the next.
    const int first =
        isThorough()
            ? 1
            : 1 + static_cast<int>(std::string_view(way.calls).size() + way.errorNumber) % 3;
    for (int number = first; number < kMostCalls; number += step) {
      const Fault fault{way.calls, number, way.kind, way.errorNumber};
      SCOPED_TRACE(describe(fault));
      if (!check(fault)) return;
      ++faults_;
    }
    ADD_FAILURE() << "it never ends";
  }

  void TearDown() override { std::cout << faults_ << " faults\n"; }

  /// What came of a run.
  struct Outcome {
    bool killed = false;
    bool reached = false;
    std::string error;  ///< that was answered
    bool succeeded = false;
  };

  Outcome run(const std::string& library, const std::string& job, const Fault& fault) {
    ChangerProcess changer(library, job, 1, fault);
    const int status = changer.wait(kPatience);
    Outcome outcome;
    outcome.killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    outcome.reached = outcome.killed;
    for (const Line& line : changer.lines()) {
      if (line.front() == "error") outcome.error = line.size() > 1 ? line[1] : "?";
      if (line.front() == "done") outcome.succeeded = true;
      if (line.front() == "end") outcome.reached = line[1] == "reached";
    }
    const bool mayDie = fault.kind == FaultKind::kill || fault.kind == FaultKind::killHalf;
    EXPECT_TRUE(status == 0 || (outcome.killed && mayDie)) << "it ended with " << status;
    EXPECT_TRUE(outcome.killed || outcome.succeeded != !outcome.error.empty()) << outcome.error;
    EXPECT_EQ(outcome.error.find("locked"), std::string::npos) << outcome.error;
    return outcome;
  }

  TemporaryFolder folder_;
  std::string library_ = folder_ / "library0";
  int number_ = 0;
  int faults_ = 0;
};

// That a change was refused is certain only as long as the disk still takes anything.
bool isDiskGone(const Fault& fault) {
  return fault.kind == FaultKind::failOn && fault.calls == "any";
}

class EveryChange : public Faults, public testing::WithParamInterface<Operation> {};

TEST_P(EveryChange, IsThereWholeOrNotAtAll) {
  const Operation& operation = GetParam();
  const auto before = readState(library());
  ASSERT_TRUE(before);
  for (const Way& way : kWays) {
    forEveryCall(way, [&](const Fault& fault) {
      const std::string path = library();
      const Outcome outcome = run(path, operation.job, fault);
      EXPECT_EQ(findingsIn(path), "");
      auto after = readState(path);
      EXPECT_TRUE(after) << after.error().sentence();
      if (!after) return outcome.reached;
      for (auto& [identifier, asset] : after->assets) {
        EXPECT_TRUE(isWhole(asset)) << identifier;
        // The paths of two copies of a library differ.
        const auto known = before->assets.find(identifier);
        if (known != before->assets.end()) asset = known->second;
      }
      const bool isDone = operation.isDone(*before, *after);
      const bool isUntouched = *before == *after;
      EXPECT_NE(isDone, isUntouched) << outcome.error;
      EXPECT_TRUE(isDone || !outcome.succeeded);
      EXPECT_TRUE(isUntouched || outcome.error.empty() || isDiskGone(fault)) << outcome.error;
      return outcome.reached;
    });
  }
}

INSTANTIATE_TEST_SUITE_P(, EveryChange, testing::ValuesIn(kOperations),
                         [](const auto& info) { return std::string(info.param.job); });

/// What only reads, or adds without an engine.
class EveryOtherJob : public Faults, public testing::WithParamInterface<const char*> {};

constexpr Way kShortages[] = {
    {"space", FaultKind::failOn, ENOSPC},
    {"space", FaultKind::fail, ENOSPC},
    {"open", FaultKind::failOn, EMFILE},
    {"open", FaultKind::fail, EMFILE},
};

TEST_P(EveryOtherJob, LosesNothingWhereTheSystemRunsShort) {
  const auto before = readState(library());
  ASSERT_TRUE(before);
  const std::string job = GetParam();
  for (const Way& way : kShortages) {
    forEveryCall(way, [&](const Fault& fault) {
      const std::string path = library();
      const Outcome outcome = run(path, job, fault);
      EXPECT_EQ(outcome.error.find("the list is another one"), std::string::npos);
      EXPECT_EQ(outcome.error.find("belongs to no asset"), std::string::npos) << outcome.error;
      EXPECT_EQ(outcome.error.find("is missing"), std::string::npos) << outcome.error;
      EXPECT_EQ(findingsIn(path), "");
      const auto after = readState(path);
      EXPECT_TRUE(after) << after.error().sentence();
      if (!after) return outcome.reached;
      EXPECT_EQ(after->trash, before->trash);
      for (const auto& [identifier, asset] : before->assets) {
        const auto kept = after->assets.find(identifier);
        EXPECT_TRUE(kept != after->assets.end() && isWhole(kept->second)) << identifier;
      }
      // What was short is there again.
      const Outcome again = run(path, job, {.calls = "none"});
      if (job == "importPair") {
        // Some of it may have come in before.
        const auto now = readState(path);
        EXPECT_TRUE(now && now->assets.size() == before->assets.size() + 1) << again.error;
      } else {
        EXPECT_TRUE(again.succeeded) << again.error;
      }
      if (job.starts_with("backup")) {
        const auto backup = readState(path + "-backup");
        EXPECT_TRUE(backup && backup->assets.size() == before->assets.size());
        EXPECT_EQ(findingsIn(path + "-backup"), "");
      }
      if (fault.errorNumber != ENOSPC) return outcome.reached;
      EXPECT_TRUE(run(path, "deleteAssets", {.calls = "none"}).succeeded);
      EXPECT_TRUE(run(path, "emptyTrash", {.calls = "none"}).succeeded);
      return outcome.reached;
    });
  }
}

INSTANTIATE_TEST_SUITE_P(, EveryOtherJob,
                         testing::Values("list", "importPair", "backup", "backupInto", "check"),
                         [](const auto& info) { return std::string(info.param); });

TEST_F(Faults, WhileALibraryIsMadeLeaveOneThatCanBeMade) {
  for (const Way& way : kWays) {
    forEveryCall(way, [&](const Fault& fault) {
      const std::string path = nowhere();
      const Outcome outcome = run(path, "open", fault);
      const auto after = readState(path);
      EXPECT_TRUE(after) << after.error().sentence();
      EXPECT_EQ(findingsIn(path), "");
      return outcome.reached;
    });
  }
}

TEST_F(Faults, WhileOldTrashGoesTakeItWholeOrLeaveIt) {
  const auto before = readState(prepared());
  ASSERT_TRUE(before);
  ASSERT_FALSE(before->trash.empty());
  Gardener(prepared()).run("UPDATE assets SET trashed_ns = 1 WHERE trashed_ns IS NOT NULL");
  for (const Way& way : kWays) {
    forEveryCall(way, [&](const Fault& fault) {
      const std::string path = library();
      const Outcome outcome = run(path, "open", fault);
      EXPECT_EQ(findingsIn(path), "");
      const auto after = readState(path);
      EXPECT_TRUE(after) << after.error().sentence();
      if (!after) return outcome.reached;
      EXPECT_TRUE(after->trash.empty());
      EXPECT_EQ(after->assets.size(), before->assets.size());
      EXPECT_EQ(filesBelow(path + "/originals").size(), before->assets.size());
      return outcome.reached;
    });
  }
}

}  // namespace
}  // namespace quorvin
