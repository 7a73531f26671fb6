#include "platform_linux/videos/linux_export_session.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include "platform_linux/errors/presented.h"
#include "platform_linux/errors/system_failure.h"
#include "platform_linux/files/side_file.h"

namespace quorvin {

namespace {

using Status = AVAssetExportSessionStatus;

Failure cannotSave(const std::string& path, int errorNumber) {
  return {MediaErrorCode::cannotSave, savingFailure(path, errorNumber).reason};
}

MediaErrorCode mediaCodeOf(const Failure& error) {
  switch (static_cast<LibraryErrorCode>(error.code)) {
    case LibraryErrorCode::invalidResource:
      return MediaErrorCode::cannotDecode;
    case LibraryErrorCode::missingResource:
      return MediaErrorCode::cannotOpen;
    case LibraryErrorCode::notEnoughSpace:
      return MediaErrorCode::cannotSave;
    case LibraryErrorCode::operationInterrupted:
      return MediaErrorCode::operationInterrupted;
    case LibraryErrorCode::requestNotSupportedForAsset:
      return MediaErrorCode::operationStopped;
    default:
      return MediaErrorCode::unknown;
  }
}

VideoContainer containerOf(AVFileType type) {
  return type == AVFileType::AVFileTypeMPEG4 ? VideoContainer::mpeg4 : VideoContainer::quickTime;
}

AVFileType fileTypeOf(VideoContainer container) {
  return container == VideoContainer::mpeg4 ? AVFileType::AVFileTypeMPEG4
                                            : AVFileType::AVFileTypeQuickTimeMovie;
}

}  // namespace

LinuxExportSession::LinuxExportSession(ExportPlace place, ExportSource source)
    : place_(std::move(place)),
      source_(std::move(source)),
      container_(source_.containers.front()) {}

std::vector<AVFileType> LinuxExportSession::supportedFileTypes() const {
  std::vector<AVFileType> types;
  for (const VideoContainer each : source_.containers) types.push_back(fileTypeOf(each));
  return types;
}

void LinuxExportSession::setOutputFileType(AVFileType type) {
  container_ = containerOf(type);
}

AVAssetExportSessionStatus LinuxExportSession::status() const {
  const NSLockHolder held(lock_);
  return status_;
}

std::optional<NSError> LinuxExportSession::error() const {
  const NSLockHolder held(lock_);
  return presented(done_);
}

void LinuxExportSession::set(AVAssetExportSessionStatus status, Done done) {
  const NSLockHolder held(lock_);
  status_ = status;
  done_ = std::move(done);
}

void LinuxExportSession::exportAsynchronously(std::function<void()> completionHandler) {
  bool isFirst = false;
  {
    const NSLockHolder held(lock_);
    isFirst = !std::exchange(isStarted_, true);
    if (isFirst) status_ = Status::waiting;
  }
  const bool isTaken = place_.threads.add([self = shared_from_this(), isFirst,
                                           use = place_.temporary.inUse().begin(outputPath_),
                                           completionHandler = std::move(completionHandler)] {
    isFirst ? self->run() : self->failAfterTheFirst();
    completionHandler();
    if (!isFirst) return;
    const NSLockHolder held(self->lock_);
    self->isOver_ = true;
    self->over_.broadcast();
  });
  if (!isTaken && isFirst) set(Status::cancelled);
}

void LinuxExportSession::run() {
  const std::stop_callback cancelToo(place_.shutDown, [this] { stop_.request_stop(); });
  const Failure cancelled(MediaErrorCode::operationStopped, "the export was cancelled.");
  if (stop_.stop_requested()) return set(Status::cancelled, cancelled);
  set(Status::exporting);
  Done done = exportFile();
  if (done) return set(Status::completed);
  if (stop_.stop_requested()) return set(Status::cancelled, cancelled);
  set(Status::failed, std::move(done));
}

Done LinuxExportSession::exportFile() {
  if (std::ranges::find(source_.containers, container_) == source_.containers.end()) {
    return Failure(MediaErrorCode::operationStopped,
                   "the preset does not write files of this type.");
  }
  SideFile side(place_.temporary.placeOf(outputPath_));
  if (side.error() != 0) return cannotSave(outputPath_, side.error());
  const VideoExportRequest request = {.preset = source_.preset,
                                      .container = container_,
                                      .indexFirst = indexFirst_,
                                      .timeMap = source_.timeMap};
  const Done exported =
      place_.exporter.exportVideo(source_.file, side.file(), request, stop_.get_token());
  if (!exported) return Failure(mediaCodeOf(exported.error()), exported.error().reason);
  if (const int error = side.sync(); error != 0) return cannotSave(outputPath_, error);
  if (stop_.stop_requested()) return cannotSave(outputPath_, ECANCELED);
  if (const int error = side.moveIntoPlace(); error != 0) {
    return cannotSave(outputPath_, error);
  }
  return Null{};
}

void LinuxExportSession::failAfterTheFirst() {
  const NSLockHolder held(lock_);
  // The first is not behind this one, so some thread has it.
  while (!isOver_) over_.wait(lock_);
  status_ = Status::failed;
  done_ = Failure(MediaErrorCode::operationStopped, "a session exports only once.");
}

}  // namespace quorvin
