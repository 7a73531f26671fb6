#include "demo/exports.h"

#include <fcntl.h>

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "demo/printing.h"
#include "host/locations.h"
#include "platform_linux/media/media_worker_pool.h"

namespace quorvin {
namespace {

enum Format { kOriginal = 0, kMov = 1, kMp4 = 2 };

bool isExportedFile(const Value& value) {
  return is<Map>(value) && !textAt(value, "url").empty();
}

/// Looks into exported files. One thread.
class Files {
 public:
  explicit Files(Calls& calls) : calls_(calls), worker_({.program = mediaWorkerProgram()}) {}

  /// Prints what a reply's file holds, and gives its path.
  std::optional<std::string> print(const Value& reply) {
    if (reply.isNull()) return std::nullopt;
    std::string path = textAt(reply, "url");
    std::printf("    %s\n    %s, %s\n", path.c_str(), contentOf(path).c_str(),
                flagAt(reply, "deletable") ? "yours to delete" : "the library's own file");
    return path;
  }

 private:
  std::string contentOf(const std::string& path) {
    std::error_code failed;
    const auto size = std::filesystem::file_size(path, failed);
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const auto probe = worker_.probe(file, std::filesystem::path(path).filename().string());
    if (failed || !probe) {
      calls_.fail("the file cannot be read");
      return "unreadable";
    }
    std::string text = readableSize(size) + ", " + probe->uniformTypeIdentifier + ", " +
                       std::to_string(probe->pixelWidth) + " × " +
                       std::to_string(probe->pixelHeight);
    if (probe->duration > 0) text += ", " + readableDuration(probe->duration * 1000) + " long";
    return text;
  }

  Calls& calls_;
  MediaWorkerPool worker_;
};

void showImageData(Calls& calls, const std::string& id, bool convertJpeg) {
  const Value bytes = calls.result(
      "getImageData", Map{{"assetId", id}, {"convertJpeg", convertJpeg}}, is<ByteBuffer>);
  if (bytes.isNull()) return;
  std::printf("    %s\n", readableSize(bytes.as<ByteBuffer>()->size()).c_str());
}

std::optional<std::string> showImageFile(Calls& calls, Files& files, const std::string& id,
                                         bool convertJpeg, bool mediumQuality) {
  return files.print(calls.result(
      "getImageUrl",
      Map{{"assetId", id}, {"convertJpeg", convertJpeg}, {"mediumQuality", mediumQuality}},
      isExportedFile));
}

std::optional<std::string> showVideoFile(Calls& calls, Files& files, const std::string& id,
                                         Format format, bool mediumQuality) {
  return files.print(
      calls.result("getVideoUrl",
                   Map{{"assetId", id}, {"mediumQuality", mediumQuality}, {"videoFormat", format}},
                   isExportedFile));
}

}  // namespace

ExportedFiles showExports(Calls& calls, const ExportSamples& samples) {
  ExportedFiles exported;
  Files files(calls);
  printHeadline("Images as data and as files");
  if (samples.photo) {
    showImageData(calls, *samples.photo, false);
    showImageFile(calls, files, *samples.photo, false, false);
    exported.image = showImageFile(calls, files, *samples.photo, false, true);
  }
  if (samples.heicPhoto) {
    showImageData(calls, *samples.heicPhoto, true);
    showImageFile(calls, files, *samples.heicPhoto, false, false);
    showImageFile(calls, files, *samples.heicPhoto, true, false);
  }
  printHeadline("Live photos and videos as files");
  if (samples.livePhoto) {
    files.print(calls.result("getLivePhotoUrl",
                             Map{{"assetId", *samples.livePhoto}, {"mediumQuality", false}},
                             isExportedFile));
  }
  if (samples.video) {
    showVideoFile(calls, files, *samples.video, kOriginal, false);
    showVideoFile(calls, files, *samples.video, kMov, false);
    showVideoFile(calls, files, *samples.video, kMp4, false);
    exported.video = showVideoFile(calls, files, *samples.video, kMp4, true);
  }
  if (samples.slowMotion) showVideoFile(calls, files, *samples.slowMotion, kOriginal, false);
  return exported;
}

}  // namespace quorvin
