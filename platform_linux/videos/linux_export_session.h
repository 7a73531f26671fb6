// One export of a video to a file.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "core/platform/foundation.h"
#include "core/platform/lock.h"
#include "core/platform/media.h"
#include "media_protocol/time_map.h"
#include "platform_linux/dispatch/work_threads.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/files/temporary_directory.h"
#include "platform_linux/media/video_exporter.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// Who exports, and on which threads. All of it outlives the session.
struct ExportPlace {
  VideoExporter& exporter;
  TemporaryDirectory& temporary;
  WorkThreads& threads;
  std::stop_token shutDown;  ///< requested: what waits and what runs is cancelled
};

/// What is exported, and how.
struct ExportSource {
  FileDescriptor file;
  TimeMap timeMap;
  VideoPreset preset = VideoPreset::passthrough;
  std::vector<VideoContainer> containers;  ///< that this preset can write, not empty
};

/// Setters on one thread before the start, the rest on any thread. An export that was started keeps
/// its session alive to its end. The file appears at the output path whole, in the place of what
/// stands there, and only when the export is completed. Another start of a session ends in a
/// failure, behind the first.
class LinuxExportSession final : public AVAssetExportSession,
                                 public std::enable_shared_from_this<LinuxExportSession> {
 public:
  LinuxExportSession(ExportPlace place, ExportSource source);

  void setOutputURL(std::string path) override { outputPath_ = std::move(path); }
  std::vector<AVFileType> supportedFileTypes() const override;
  /// Unless it is set, the first of `supportedFileTypes`.
  void setOutputFileType(AVFileType type) override;
  void setShouldOptimizeForNetworkUse(bool optimize) override { indexFirst_ = optimize; }
  void exportAsynchronously(std::function<void()> completionHandler) override
      QUORVIN_EXCLUDES(lock_);
  AVAssetExportSessionStatus status() const override QUORVIN_EXCLUDES(lock_);
  std::optional<NSError> error() const override QUORVIN_EXCLUDES(lock_);

  /// The export ends cancelled, unless its file is in place already.
  void cancelExport() { stop_.request_stop(); }

 private:
  void run() QUORVIN_EXCLUDES(lock_);
  Done exportFile();
  void failAfterTheFirst() QUORVIN_EXCLUDES(lock_);
  void set(AVAssetExportSessionStatus status, Done done = Null{}) QUORVIN_EXCLUDES(lock_);

  const ExportPlace place_;
  const ExportSource source_;

  // Constant from the start on.
  std::string outputPath_;
  VideoContainer container_;
  bool indexFirst_ = false;

  std::stop_source stop_;
  mutable NSLock lock_;
  NSCondition over_;
  bool isStarted_ QUORVIN_GUARDED_BY(lock_) = false;
  bool isOver_ QUORVIN_GUARDED_BY(lock_) = false;  ///< the first start's handler has returned
  AVAssetExportSessionStatus status_ QUORVIN_GUARDED_BY(lock_) =
      AVAssetExportSessionStatus::unknown;
  Done done_ QUORVIN_GUARDED_BY(lock_) = Null{};
};

}  // namespace quorvin
