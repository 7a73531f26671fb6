// What the tests of export sessions stand on: a scripted exporter, and a folder to export in.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <future>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "platform_linux/errors/presented.h"
#include "platform_linux/videos/linux_composition.h"
#include "platform_linux/videos/linux_export_session.h"
#include "platform_linux/videos/linux_media_framework.h"
#include "posix/write_all.h"
#include "testing/platform/testing_folder.h"
#include "testing/platform/testing_held_file.h"
#include "testing/platform/testing_processes.h"

namespace quorvin {

/// Writes what the test says. Any thread once it is scripted.
class ScriptedExporter final : public VideoExporter {
 public:
  using Export = std::function<Done(const FileDescriptor& output, const std::stop_token& stop)>;

  Result<std::vector<VideoContainer>> containers =
      std::vector{VideoContainer::quickTime, VideoContainer::mpeg4};
  Export onExport = [](const FileDescriptor& output, const std::stop_token&) {
    return writeText(output, "video");
  };

  static Done writeText(const FileDescriptor& output, const std::string& text) {
    writeAll(output.get(), {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    return Null{};
  }

  Result<std::vector<VideoContainer>> exportContainers(const FileDescriptor&,
                                                       VideoPreset preset) override {
    presets.push_back(preset);
    return containers;
  }
  Done exportVideo(const FileDescriptor& source, const FileDescriptor& output,
                   const VideoExportRequest& request, std::stop_token stop) override {
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
    return [this](const FileDescriptor& output, const std::stop_token& stop) -> Done {
      std::unique_lock guard(mutex_);
      ++arrived_;
      changed_.notify_all();
      changed_.wait(guard, stop, [this] { return isOpen_; });
      if (!isOpen_) return Failure(LibraryErrorCode::userCancelled, "it was cancelled.");
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
        std::make_shared<const LinuxVideo>(folder / "original.mov",
                                           heldFile(folder.path(), "original.mov")),
        preset);
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
    EXPECT_EQ(session.status(), AVAssetExportSessionStatus::failed);
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

  TemporaryFolder folder;
  ScriptedExporter exporter;
  TemporaryDirectory temporary{folder.path(), ""};
  LinuxMediaFramework framework{exporter, temporary};
};

}  // namespace quorvin
