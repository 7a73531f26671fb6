#include "platform_linux/videos/linux_media_framework.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <latch>

#include "platform_linux/videos/linux_composition.h"
#include "testing/platform/testing_exports.h"

namespace quorvin {
namespace {

using namespace std::chrono_literals;
using Status = AVAssetExportSessionStatus;

TEST_F(ExportTest, ExportsACompositionByItsTimeMap) {
  const TimeMap map = {{0s, 1s, 4s}};
  const auto exported = framework.exportSessionWithAsset(
      std::make_shared<const LinuxComposition>(heldFile(folder.path(), "original.mov"), map),
      AVAssetExportPresetPassthrough);
  ASSERT_NE(exported, nullptr);
  exported->setOutputURL(folder / "out.mov");
  run(*exported);
  ASSERT_EQ(exporter.requests.size(), 1U);
  EXPECT_EQ(exporter.requests[0].timeMap, map);
  EXPECT_EQ(exporter.requests[0].preset, VideoPreset::passthrough);
}

TEST_F(ExportTest, KnowsThreePresets) {
  session(AVAssetExportPresetPassthrough);
  session(AVAssetExportPresetHighestQuality);
  session(AVAssetExportPresetMediumQuality);
  EXPECT_EQ(exporter.presets, (std::vector{VideoPreset::passthrough, VideoPreset::highestQuality,
                                           VideoPreset::mediumQuality}));
  EXPECT_EQ(session("AVAssetExportPreset640x480"), nullptr);
  EXPECT_EQ(session(""), nullptr);
}

TEST_F(ExportTest, HasNoSessionForWhatCannotBeExported) {
  exporter.containers = std::vector<VideoContainer>();
  EXPECT_EQ(session(), nullptr);
  exporter.containers = Failure(LibraryErrorCode::invalidResource, "No.");
  EXPECT_EQ(session(), nullptr);
}

TEST_F(ExportTest, HasNoSessionForAFileThatCannotBeOpened) {
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  for (const char* name : {"missing.mov", "pipe", ""}) {
    const auto video =
        std::make_shared<const LinuxVideo>(folder / name, heldFile(folder.path(), name));
    EXPECT_EQ(framework.exportSessionWithAsset(video, AVAssetExportPresetHighestQuality), nullptr)
        << name;
  }
  // Of another platform.
  EXPECT_EQ(
      framework.exportSessionWithAsset(std::make_shared<const AVURLAsset>(folder / "original.mov"),
                                       AVAssetExportPresetHighestQuality),
      nullptr);
  EXPECT_EQ(framework.exportSessionWithAsset(std::make_shared<const AVAsset>(),
                                             AVAssetExportPresetHighestQuality),
            nullptr);
  EXPECT_EQ(framework.exportSessionWithAsset(nullptr, AVAssetExportPresetHighestQuality), nullptr);
  EXPECT_TRUE(exporter.presets.empty());
}

TEST_F(ExportTest, SupportsTheFileTypesThatTheExporterWrites) {
  EXPECT_EQ(session()->supportedFileTypes(),
            (std::vector{AVFileType::AVFileTypeQuickTimeMovie, AVFileType::AVFileTypeMPEG4}));
  exporter.containers = std::vector{VideoContainer::mpeg4};
  EXPECT_EQ(session()->supportedFileTypes(), std::vector{AVFileType::AVFileTypeMPEG4});
  auto wrong = sessionTo("out.mov");
  wrong->setOutputFileType(AVFileType::AVFileTypeQuickTimeMovie);
  expectFailure(*wrong, MediaErrorCode::operationStopped,
                "Operation Stopped: The preset does not write files of this type.");
  run(*sessionTo("out.mp4"));
  EXPECT_EQ(exporter.requests.at(0).container, VideoContainer::mpeg4);
}

TEST_F(ExportTest, RunsTwoAtATimeAndLetsTheOthersWait) {
  Gate gate;
  exporter.onExport = gate.passing();
  std::vector<std::shared_ptr<AVAssetExportSession>> sessions;
  std::latch done(4);
  for (int i = 0; i < 4; ++i) {
    sessions.push_back(sessionTo("out" + std::to_string(i)));
    sessions.back()->exportAsynchronously([&done] { done.count_down(); });
  }
  gate.waitFor(2);
  EXPECT_EQ(sessions[0]->status(), Status::exporting);
  EXPECT_EQ(sessions[1]->status(), Status::exporting);
  EXPECT_EQ(sessions[2]->status(), Status::waiting);
  EXPECT_EQ(sessions[3]->status(), Status::waiting);
  EXPECT_EQ(gate.arrived(), 2);
  gate.open();
  done.wait();
  for (const auto& each : sessions) EXPECT_EQ(each->status(), Status::completed);
  EXPECT_EQ(others().size(), 4U);
}

TEST_F(ExportTest, CancelsEverythingWhenItIsShutDown) {
  Gate gate;
  exporter.onExport = gate.passing();
  std::atomic<int> completions = 0;
  std::vector<std::shared_ptr<AVAssetExportSession>> sessions;
  for (int i = 0; i < 5; ++i) {
    sessions.push_back(sessionTo("out" + std::to_string(i)));
    sessions.back()->exportAsynchronously([&completions] { ++completions; });
  }
  gate.waitFor(2);
  framework.shutDown();
  EXPECT_EQ(completions, 5);
  for (const auto& each : sessions) EXPECT_EQ(each->status(), Status::cancelled);
  EXPECT_TRUE(others().empty());

  const auto late = sessionTo("late.mov");
  late->exportAsynchronously([&completions] { ++completions; });
  EXPECT_EQ(completions, 5);
  EXPECT_EQ(late->status(), Status::cancelled);
}

TEST_F(ExportTest, OfTwoExportsToOnePathTheLastStays) {
  Gate gate;
  std::atomic<int> writing = 0;
  exporter.onExport = [&writing, pass = gate.passing()](const FileDescriptor& output,
                                                        const std::stop_token& stop) {
    const bool isFirst = ++writing == 1;
    ScriptedExporter::writeText(output, isFirst ? "one " : "other ");
    return isFirst ? pass(output, stop) : Done(Null{});
  };
  const auto one = sessionTo("out.mov");
  const auto other = sessionTo("out.mov");
  std::promise<void> oneDone;
  std::promise<void> otherDone;
  one->exportAsynchronously([&oneDone] { oneDone.set_value(); });
  gate.waitFor(1);
  other->exportAsynchronously([&otherDone] { otherDone.set_value(); });
  otherDone.get_future().get();
  EXPECT_EQ(other->status(), Status::completed);
  EXPECT_EQ(readFile(folder / "out.mov"), "other ");
  gate.open();
  oneDone.get_future().get();
  EXPECT_EQ(one->status(), Status::completed);
  EXPECT_EQ(others(), std::vector<std::string>{"out.mov"});
  EXPECT_EQ(readFile(folder / "out.mov"), "one video");
}

TEST_F(ExportTest, LeaksNoDescriptor) {
  const std::size_t before = openDescriptors();
  run(*sessionTo("first.mov"));
  for (int i = 0; i < 20; ++i) {
    std::promise<void> done;
    sessionTo(i % 2 == 0 ? "out" + std::to_string(i) : "first.mov")->exportAsynchronously([&done] {
      done.set_value();
    });
    done.get_future().get();
  }
  framework.shutDown();
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace quorvin
