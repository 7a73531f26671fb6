#include "platform_linux/videos/linux_media_framework.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <future>
#include <latch>
#include <mutex>

#include "platform_linux/errors.h"
#include "platform_linux/files/copy_content.h"
#include "platform_linux/files/testing_folder.h"
#include "platform_linux/videos/linux_composition.h"
#include "platform_linux/videos/linux_export_session.h"

namespace quorvin {
namespace {

using namespace std::chrono_literals;
using Status = AVAssetExportSessionStatus;

/// Writes what the test says. Any thread once it is scripted.
class ScriptedExporter final : public VideoExporter {
 public:
  using Export = std::function<std::optional<NSError>(const FileDescriptor& output,
                                                      const std::stop_token& stop)>;

  Result<std::vector<VideoContainer>> containers =
      std::vector{VideoContainer::quickTime, VideoContainer::mpeg4};
  Export onExport = [](const FileDescriptor& output, const std::stop_token&) {
    return writeText(output, "video");
  };

  static std::optional<NSError> writeText(const FileDescriptor& output, const std::string& text) {
    writeAll(output.get(), {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    return std::nullopt;
  }
  static NSError failure(LibraryErrorCode code, const std::string& sentence) {
    return {std::string(kMediaErrorDomain), static_cast<std::int64_t>(code), sentence};
  }

  Result<std::vector<VideoContainer>> exportContainers(const FileDescriptor&,
                                                       VideoPreset preset) override {
    presets.push_back(preset);
    return containers;
  }
  std::optional<NSError> exportVideo(const FileDescriptor& source, const FileDescriptor& output,
                                     const VideoExportRequest& request,
                                     std::stop_token stop) override {
    {
      const std::lock_guard guard(mutex_);
      requests.push_back(request);
      struct stat status = {};
      ::fstat(source.get(), &status);
      sourceSizes.push_back(status.st_size);
    }
    return onExport(output, stop);
  }

  std::vector<VideoPreset> presets;
  std::vector<VideoExportRequest> requests;
  std::vector<std::int64_t> sourceSizes;

 private:
  std::mutex mutex_;
};

/// Until it is opened, exports stay where they are; then, or once they are cancelled, they end.
class Gate {
 public:
  ScriptedExporter::Export passing() {
    return [this](const FileDescriptor& output, const std::stop_token& stop) {
      std::unique_lock guard(mutex_);
      ++arrived_;
      changed_.notify_all();
      changed_.wait(guard, stop, [this] { return isOpen_; });
      if (!isOpen_) {
        return std::optional(
            ScriptedExporter::failure(LibraryErrorCode::userCancelled, "It was cancelled."));
      }
      return ScriptedExporter::writeText(output, "video");
    };
  }
  void waitFor(int count) {
    std::unique_lock guard(mutex_);
    changed_.wait(guard, [this, count] { return arrived_ >= count; });
  }
  int arrived() {
    const std::lock_guard guard(mutex_);
    return arrived_;
  }
  void open() {
    const std::lock_guard guard(mutex_);
    isOpen_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable_any changed_;
  int arrived_ = 0;
  bool isOpen_ = false;
};

class ExportTest : public testing::Test {
 protected:
  ExportTest() { writeFile(folder / "original.mov", "original"); }

  std::shared_ptr<AVAssetExportSession> session(
      std::string_view preset = AVAssetExportPresetHighestQuality) {
    return framework.exportSessionWithAsset(
        std::make_shared<const AVURLAsset>(folder / "original.mov"), preset);
  }
  std::shared_ptr<AVAssetExportSession> sessionTo(const std::string& name) {
    auto made = session();
    made->setOutputURL(folder / name);
    return made;
  }
  /// Runs the export to its end.
  static void run(AVAssetExportSession& session) {
    std::promise<void> done;
    session.exportAsynchronously([&done] { done.set_value(); });
    done.get_future().get();
  }
  void expectFailure(AVAssetExportSession& session, MediaErrorCode code,
                     const std::string& description) {
    run(session);
    EXPECT_EQ(session.status(), Status::failed);
    const auto error = session.error();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain, kMediaErrorDomain);
    EXPECT_EQ(error->code, static_cast<std::int64_t>(code));
    EXPECT_EQ(error->localizedDescription, description);
  }
  std::vector<std::string> others() {
    auto files = filesBelow(folder.path());
    std::erase(files, "original.mov");
    return files;
  }
  static std::size_t openDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
  }

  TemporaryFolder folder;
  ScriptedExporter exporter;
  LinuxMediaFramework framework{exporter};
};

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

TEST_F(ExportTest, ExportsACompositionByItsTimeMap) {
  const TimeMap map = {{0s, 1s, 4s}};
  const auto exported = framework.exportSessionWithAsset(
      std::make_shared<const LinuxComposition>(folder / "original.mov", map),
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
  exporter.containers = ScriptedExporter::failure(LibraryErrorCode::invalidResource, "No.");
  EXPECT_EQ(session(), nullptr);
}

TEST_F(ExportTest, HasNoSessionForAFileThatCannotBeOpened) {
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  for (const char* name : {"missing.mov", "pipe", ""}) {
    EXPECT_EQ(framework.exportSessionWithAsset(std::make_shared<const AVURLAsset>(folder / name),
                                               AVAssetExportPresetHighestQuality),
              nullptr)
        << name;
  }
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

TEST_F(ExportTest, NeverReplacesWhatIsThere) {
  writeFile(folder / "x/out.mov", "theirs");
  expectFailure(*sessionTo("x/out.mov"), MediaErrorCode::cannotSave,
                "Cannot Save: The file “out.mov” couldn’t be saved in the folder “x” because an "
                "item with the same name already exists.");
  EXPECT_TRUE(exporter.requests.empty());
  EXPECT_EQ(readFile(folder / "x/out.mov"), "theirs");
}

TEST_F(ExportTest, NeverReplacesWhatComesMeanwhile) {
  exporter.onExport = [this](const FileDescriptor& output, const std::stop_token&) {
    writeFile(folder / "x/out.mov", "theirs");
    return ScriptedExporter::writeText(output, "video");
  };
  std::filesystem::create_directory(folder / "x");
  expectFailure(*sessionTo("x/out.mov"), MediaErrorCode::cannotSave,
                "Cannot Save: The file “out.mov” couldn’t be saved in the folder “x” because an "
                "item with the same name already exists.");
  EXPECT_EQ(others(), std::vector<std::string>{"x/out.mov"});
  EXPECT_EQ(readFile(folder / "x/out.mov"), "theirs");
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
      return ScriptedExporter::failure(each.code, "This is why.");
    };
    expectFailure(*sessionTo("out.mov"), each.expected, std::string(each.title) + ": This is why.");
    EXPECT_TRUE(others().empty());
  }
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
  for (const auto& each : sessions) each->cancelExport();
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

TEST_F(ExportTest, LetsOnlyOneOfTwoExportsHaveThePath) {
  Gate gate;
  exporter.onExport = gate.passing();
  const auto one = sessionTo("out.mov");
  const auto other = sessionTo("out.mov");
  std::latch done(2);
  one->exportAsynchronously([&done] { done.count_down(); });
  other->exportAsynchronously([&done] { done.count_down(); });
  gate.waitFor(2);
  gate.open();
  done.wait();
  EXPECT_NE(one->status(), other->status());
  EXPECT_TRUE(one->status() == Status::completed || other->status() == Status::completed);
  EXPECT_EQ(others(), std::vector<std::string>{"out.mov"});
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

TEST_F(ExportTest, FailsOnAFullVolumeWithoutAFile) {
  SmallVolume volume("size=64k");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  exporter.onExport = [](const FileDescriptor& output, const std::stop_token&) {
    const std::vector<std::uint8_t> bytes(100'000);
    EXPECT_NE(writeAll(output.get(), bytes), 0);
    return ScriptedExporter::failure(LibraryErrorCode::notEnoughSpace, "There is no space left.");
  };
  auto exported = session();
  exported->setOutputURL(volume / "out.mov");
  expectFailure(*exported, MediaErrorCode::cannotSave, "Cannot Save: There is no space left.");
  EXPECT_TRUE(filesBelow(volume.path()).empty());
}

}  // namespace
}  // namespace quorvin
