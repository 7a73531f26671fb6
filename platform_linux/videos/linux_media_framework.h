// Export sessions for the library's videos.
#pragma once

#include <memory>
#include <stop_token>
#include <string_view>

#include "core/platform/media.h"
#include "platform_linux/dispatch/work_threads.h"
#include "platform_linux/files/temporary_directory.h"
#include "platform_linux/media/video_exporter.h"

namespace quorvin {

/// Any thread. At most two exports run at a time; the others wait, in the order of their starts.
/// Sessions must not be started once the framework is gone.
class LinuxMediaFramework final : public MediaFramework {
 public:
  /// The exporter and the temporary directory outlive the framework and all of its sessions.
  LinuxMediaFramework(VideoExporter& exporter, TemporaryDirectory& temporary)
      : exporter_(exporter), temporary_(temporary), threads_("quorvin-exports", 2) {}
  ~LinuxMediaFramework() override { shutDown(); }

  /// Looks into the video, which takes some milliseconds. Null also for an asset of another
  /// platform, for a preset of another name, and when no video can be read.
  std::shared_ptr<AVAssetExportSession> exportSessionWithAsset(
      std::shared_ptr<const AVAsset> asset, std::string_view presetName) override;

  /// Cancels what waits and what runs. Returns at once.
  void beginShutDown() { stop_.request_stop(); }

  /// `beginShutDown`, and returns when all exports have ended, their completions have run, and none
  /// can run any more. One thread, not from inside a completion.
  void shutDown();

 private:
  VideoExporter& exporter_;
  TemporaryDirectory& temporary_;
  std::stop_source stop_;
  WorkThreads threads_;  ///< last, so that its threads end first
};

}  // namespace quorvin
