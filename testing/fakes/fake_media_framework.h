// Export sessions that end when the test says so.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/media.h"
#include "testing/fakes/event_log.h"
#include "testing/fakes/fake_file_manager.h"

namespace quorvin {

/// One thread at a time.
class FakeExportSession : public AVAssetExportSession {
 public:
  FakeExportSession(EventLog& log, FakeFileManager& files, std::shared_ptr<const AVAsset> source,
                    std::string presetName, std::vector<AVFileType> fileTypes);
  ~FakeExportSession() override;

  struct Settings {
    std::string outputPath;
    std::optional<AVFileType> fileType;
    bool optimizesForNetworkUse = false;
  };

  const std::shared_ptr<const AVAsset> asset;
  const std::string preset;
  std::string outputPath;
  std::optional<AVFileType> fileType;
  bool optimizesForNetworkUse = false;
  /// What was set when the export was started.
  std::optional<Settings> startedWith;
  /// Empty until the export was started and after its end.
  std::function<void()> completionHandler;

  void setFinal(AVAssetExportSessionStatus finalStatus, std::optional<NSError> error = {});
  /// Ends the export: the handler runs on this thread, and goes.
  void finish(AVAssetExportSessionStatus finalStatus, std::optional<NSError> error = {});

  /// What `complete` comes to: a movie, or none that can be decoded.
  std::optional<ByteBuffer> movie = ByteBuffer({'m', 'o', 'v', 'i', 'e'});
  void cancelExport() { isCancelled_ = true; }
  /// Ends the export as the system does: with its file, or with the error that it comes to.
  void complete();

  void setOutputURL(std::string path) override { outputPath = std::move(path); }
  std::vector<AVFileType> supportedFileTypes() const override { return fileTypes_; }
  void setOutputFileType(AVFileType type) override { fileType = type; }
  void setShouldOptimizeForNetworkUse(bool optimize) override { optimizesForNetworkUse = optimize; }
  void exportAsynchronously(std::function<void()> handler) override;
  AVAssetExportSessionStatus status() const override { return status_; }
  std::optional<NSError> error() const override { return error_; }

 private:
  std::optional<NSError> write();

  EventLog& log_;
  FakeFileManager& files_;
  const std::vector<AVFileType> fileTypes_;
  bool isCancelled_ = false;
  AVAssetExportSessionStatus status_ = AVAssetExportSessionStatus::unknown;
  std::optional<NSError> error_;
};

/// Logs "exportSessionWithAsset PRESET". One thread at a time.
class FakeMediaFramework : public MediaFramework {
 public:
  FakeMediaFramework(EventLog& log, FakeFileManager& files);
  ~FakeMediaFramework() override;

  bool makesSessions = true;
  std::vector<AVFileType> supportedFileTypes = {AVFileType::AVFileTypeQuickTimeMovie,
                                                AVFileType::AVFileTypeMPEG4};
  std::vector<std::shared_ptr<FakeExportSession>> sessions;

  std::shared_ptr<AVAssetExportSession> exportSessionWithAsset(
      std::shared_ptr<const AVAsset> asset, std::string_view presetName) override;

 private:
  EventLog& log_;
  FakeFileManager& files_;
};

}  // namespace quorvin
