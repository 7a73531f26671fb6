#include "testing/fakes/fake_media_framework.h"

#include <algorithm>
#include <utility>

namespace quorvin {

FakeExportSession::FakeExportSession(EventLog& log, FakeFileManager& files,
                                     std::shared_ptr<const AVAsset> source, std::string presetName,
                                     std::vector<AVFileType> fileTypes)
    : asset(std::move(source)),
      preset(std::move(presetName)),
      log_(log),
      files_(files),
      fileTypes_(std::move(fileTypes)) {}
FakeExportSession::~FakeExportSession() = default;

void FakeExportSession::setFinal(AVAssetExportSessionStatus finalStatus,
                                 std::optional<NSError> error) {
  status_ = finalStatus;
  error_ = std::move(error);
}

void FakeExportSession::finish(AVAssetExportSessionStatus finalStatus,
                               std::optional<NSError> error) {
  setFinal(finalStatus, std::move(error));
  std::exchange(completionHandler, nullptr)();
}

void FakeExportSession::complete() {
  using Status = AVAssetExportSessionStatus;
  if (isCancelled_) return finish(Status::cancelled, NSError{"Media", -11838, "Cancelled."});
  auto failure = write();
  finish(failure ? Status::failed : Status::completed, std::move(failure));
}

void FakeExportSession::exportAsynchronously(std::function<void()> handler) {
  log_.add("exportAsynchronously " + outputPath);
  startedWith = Settings{outputPath, fileType, optimizesForNetworkUse};
  status_ = AVAssetExportSessionStatus::exporting;
  completionHandler = std::move(handler);
}

std::optional<NSError> FakeExportSession::write() {
  if (fileType && std::ranges::find(fileTypes_, *fileType) == fileTypes_.end()) {
    return NSError{"Media", -11838, "The file type is not supported."};
  }
  if (!movie) return NSError{"Media", -11821, "The movie does not decode."};
  auto error = files_.replace(*movie, outputPath);
  if (error) error->code = -11823;
  return error;
}

FakeMediaFramework::FakeMediaFramework(EventLog& log, FakeFileManager& files)
    : log_(log), files_(files) {}
FakeMediaFramework::~FakeMediaFramework() = default;

std::shared_ptr<AVAssetExportSession> FakeMediaFramework::exportSessionWithAsset(
    std::shared_ptr<const AVAsset> asset, std::string_view presetName) {
  log_.add("exportSessionWithAsset " + std::string(presetName));
  if (!makesSessions) return nullptr;
  sessions.push_back(std::make_shared<FakeExportSession>(
      log_, files_, std::move(asset), std::string(presetName), supportedFileTypes));
  return sessions.back();
}

}  // namespace quorvin
