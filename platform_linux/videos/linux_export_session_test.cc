#include "platform_linux/videos/linux_export_session.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <latch>

#include "testing/platform/testing_exports.h"

namespace quorvin {
namespace {

using Status = AVAssetExportSessionStatus;

TEST_F(ExportTest, WritesTheFileWholeUnderItsName) {
  const mode_t before = ::umask(0022);
  const auto exported = sessionTo("out.mov");
  EXPECT_EQ(exported->status(), Status::unknown);
  run(*exported);
  ::umask(before);
  EXPECT_EQ(exported->status(), Status::completed);
  EXPECT_FALSE(exported->error());
  EXPECT_EQ(others(), std::vector<std::string>{"out.mov"});
  EXPECT_EQ(readFile(folder / "out.mov"), "video");
  EXPECT_EQ(std::filesystem::status(folder / "out.mov").permissions(),
            std::filesystem::perms(0644));
}

TEST_F(ExportTest, AsksForWhatWasSet) {
  auto exported = sessionTo("out.mp4");
  exported->setOutputFileType(AVFileType::AVFileTypeMPEG4);
  exported->setShouldOptimizeForNetworkUse(true);
  run(*exported);
  EXPECT_EQ(exporter.requests,
            (std::vector<VideoExportRequest>{{.preset = VideoPreset::highestQuality,
                                              .container = VideoContainer::mpeg4,
                                              .indexFirst = true,
                                              .timeMap = {}}}));
  EXPECT_EQ(exporter.sourceSizes, std::vector<std::int64_t>{8});
}

TEST_F(ExportTest, ReplacesWhatIsThereOnceItIsDone) {
  writeFile(folder / "x/out.mov", "earlier");
  exporter.onExport = [this](const FileDescriptor& output, const std::stop_token&) {
    EXPECT_EQ(readFile(folder / "x/out.mov"), "earlier");
    return ScriptedExporter::writeText(output, "video");
  };
  const auto exported = sessionTo("x/out.mov");
  run(*exported);
  EXPECT_EQ(exported->status(), Status::completed);
  EXPECT_EQ(others(), std::vector<std::string>{"x/out.mov"});
  EXPECT_NE(readFile(folder / "x/out.mov"), "earlier");
}

TEST_F(ExportTest, ReplacesNoFolder) {
  std::filesystem::create_directories(folder / "x/out.mov");
  expectFailure(*sessionTo("x/out.mov"), MediaErrorCode::cannotSave,
                "Cannot Save: The file “out.mov” couldn’t be saved in the folder “x” because a "
                "folder with the same name already exists.");
  EXPECT_TRUE(std::filesystem::is_directory(folder / "x/out.mov"));
  EXPECT_TRUE(others().empty());
}

TEST_F(ExportTest, WritesNothingThroughALinkInTheTemporaryDirectory) {
  const TemporaryFolder outside;
  std::filesystem::create_directory_symlink(outside.path(), folder / "video");
  for (const char* name : {"video/out.mov", "../out.mov"}) {
    const auto exported = sessionTo(name);
    run(*exported);
    EXPECT_EQ(exported->status(), Status::failed);
  }
  EXPECT_TRUE(std::filesystem::is_empty(outside.path()));
  EXPECT_FALSE(std::filesystem::exists(folder / "../out.mov"));
  EXPECT_TRUE(exporter.requests.empty());
}

TEST_F(ExportTest, ReplacesALinkAndNotWhatItLeadsTo) {
  std::filesystem::create_symlink(folder / "nowhere", folder / "out.mov");
  const auto exported = sessionTo("out.mov");
  run(*exported);
  EXPECT_EQ(exported->status(), Status::completed);
  EXPECT_FALSE(std::filesystem::exists(folder / "nowhere"));
  EXPECT_TRUE(
      std::filesystem::is_regular_file(std::filesystem::symlink_status(folder / "out.mov")));
}

TEST_F(ExportTest, FailsWithoutAFolderToWriteTo) {
  expectFailure(*sessionTo("missing/out.mov"), MediaErrorCode::cannotSave,
                "Cannot Save: The file “out.mov” couldn’t be saved in the folder “missing” because "
                "there is no such file or folder.");
  run(*session());
  EXPECT_TRUE(exporter.requests.empty());
  EXPECT_TRUE(others().empty());
}

TEST_F(ExportTest, TellsWhyTheExporterFailedAndLeavesNothing) {
  struct Case {
    LibraryErrorCode code;
    MediaErrorCode expected;
    const char* title;
  };
  for (const Case& each : {
           Case{LibraryErrorCode::invalidResource, MediaErrorCode::cannotDecode, "Cannot Decode"},
           Case{LibraryErrorCode::missingResource, MediaErrorCode::cannotOpen, "Cannot Open"},
           Case{LibraryErrorCode::notEnoughSpace, MediaErrorCode::cannotSave, "Cannot Save"},
           Case{LibraryErrorCode::operationInterrupted, MediaErrorCode::operationInterrupted,
                "Operation Interrupted"},
           Case{LibraryErrorCode::requestNotSupportedForAsset, MediaErrorCode::operationStopped,
                "Operation Stopped"},
           Case{LibraryErrorCode::internal, MediaErrorCode::unknown,
                "The operation could not be completed"},
       }) {
    exporter.onExport = [&each](const FileDescriptor& output, const std::stop_token&) {
      ScriptedExporter::writeText(output, "half");
      return Failure(each.code, "This is why.");
    };
    expectFailure(*sessionTo("out.mov"), each.expected, std::string(each.title) + ": This is why.");
    EXPECT_TRUE(others().empty());
  }
}

TEST_F(ExportTest, CompletesOnAThreadOfItsOwnWithAFinalStatus) {
  const auto exported = sessionTo("out.mov");
  std::promise<std::pair<std::thread::id, Status>> done;
  exported->exportAsynchronously([&done, exported] {
    done.set_value({std::this_thread::get_id(), exported->status()});
  });
  const auto [thread, status] = done.get_future().get();
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_EQ(status, Status::completed);
}

TEST_F(ExportTest, LivesAsLongAsTheExportRuns) {
  std::promise<void> done;
  sessionTo("out.mov")->exportAsynchronously([&done] { done.set_value(); });
  done.get_future().get();
  EXPECT_EQ(readFile(folder / "out.mov"), "video");
}

TEST_F(ExportTest, CancelsWhatRunsAndWhatWaits) {
  Gate gate;
  exporter.onExport = gate.passing();
  std::vector<std::shared_ptr<LinuxExportSession>> sessions;
  std::latch done(3);
  for (int i = 0; i < 3; ++i) {
    sessions.push_back(
        std::static_pointer_cast<LinuxExportSession>(sessionTo("out" + std::to_string(i))));
    sessions.back()->exportAsynchronously([&done] { done.count_down(); });
  }
  gate.waitFor(2);
  // The one that waits first: the end of another would let it begin.
  std::for_each(sessions.rbegin(), sessions.rend(), [](const auto& each) { each->cancelExport(); });
  done.wait();
  for (const auto& each : sessions) {
    EXPECT_EQ(each->status(), Status::cancelled);
    EXPECT_EQ(each->error()->localizedDescription, "Operation Stopped: The export was cancelled.");
  }
  EXPECT_EQ(gate.arrived(), 2);
  EXPECT_TRUE(others().empty());
}

TEST_F(ExportTest, IsCancelledToTheLastMomentBeforeTheFileIsInPlace) {
  const auto exported = std::static_pointer_cast<LinuxExportSession>(sessionTo("out.mov"));
  exporter.onExport = [&exported](const FileDescriptor& output, const std::stop_token&) {
    exported->cancelExport();
    return ScriptedExporter::writeText(output, "video");
  };
  run(*exported);
  EXPECT_EQ(exported->status(), Status::cancelled);
  EXPECT_TRUE(others().empty());
}

TEST_F(ExportTest, ExportsOnlyOnce) {
  Gate gate;
  exporter.onExport = gate.passing();
  const auto exported = sessionTo("out.mov");
  std::promise<Status> first;
  std::promise<Status> second;
  exported->exportAsynchronously([&first, exported] { first.set_value(exported->status()); });
  exported->exportAsynchronously([&second, exported] { second.set_value(exported->status()); });
  gate.waitFor(1);
  gate.open();
  EXPECT_EQ(first.get_future().get(), Status::completed);
  EXPECT_EQ(second.get_future().get(), Status::failed);
  EXPECT_EQ(exported->error()->localizedDescription,
            "Operation Stopped: A session exports only once.");
  EXPECT_EQ(readFile(folder / "out.mov"), "video");
  EXPECT_EQ(exporter.requests.size(), 1U);
}

TEST_F(ExportTest, FailsOnAFullVolumeWithoutAFile) {
  SmallVolume volume("size=64k");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  exporter.onExport = [](const FileDescriptor& output, const std::stop_token&) {
    const std::vector<std::uint8_t> bytes(100'000);
    EXPECT_NE(writeAll(output.get(), bytes), 0);
    return Failure(LibraryErrorCode::notEnoughSpace, "There is no space left.");
  };
  auto exported = session();
  exported->setOutputURL(volume / "out.mov");
  expectFailure(*exported, MediaErrorCode::cannotSave, "Cannot Save: There is no space left.");
  EXPECT_TRUE(filesBelow(volume.path()).empty());
}

}  // namespace
}  // namespace quorvin
