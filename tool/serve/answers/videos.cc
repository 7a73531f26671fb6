#include "tool/serve/answers/videos.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <ranges>
#include <utility>
#include <vector>

#include "core/platform/images.h"
#include "core/platform/media.h"
#include "platform_linux/videos/linux_composition.h"
#include "tool/serve/answers/file_response.h"
#include "tool/serve/reading/movie_codecs.h"

namespace quorvin {
namespace {

constexpr std::size_t kMostEncodings = 2;
constexpr std::size_t kMostKept = 32;
constexpr std::uint64_t kMostBytesKept = std::uint64_t{4} << 30;

using EncodedVideo = Result<std::shared_ptr<const OpenFile>>;
using EncodedAnswer = std::function<void(EncodedVideo)>;

Failure encodingFailed(const std::string& reason) {
  return Failure(MediaErrorCode::cannotDecode, reason);
}

/// What was written, without its name.
EncodedVideo takenFrom(const std::string& path) {
  auto file = openFileOf(FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC)));
  ::unlink(path.c_str());
  if (file == nullptr) return encodingFailed("the video cannot be read back.");
  return file;
}

bool playsEverywhere(const OpenFile& file) {
  const FileReader read = [&file](std::uint64_t position, std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    const ssize_t got = ::pread(file.file.get(), bytes.data(), size, static_cast<off_t>(position));
    const bool isWhole = got == static_cast<ssize_t>(size);
    return isWhole ? std::optional(std::move(bytes)) : std::nullopt;
  };
  return playsInEveryBrowser(read, file.size);
}

/// On its way into a file of its own.
struct Encoding {
  std::string path;
  MediaFramework& framework;
  std::shared_ptr<const AVAsset> video;
  EncodedAnswer answer;

  std::shared_ptr<AVAssetExportSession> session(std::string_view preset) const {
    if (video == nullptr) return nullptr;
    auto session = framework.exportSessionWithAsset(video, preset);
    if (session == nullptr) return nullptr;
    session->setOutputURL(path);
    session->setOutputFileType(AVFileType::AVFileTypeMPEG4);
    session->setShouldOptimizeForNetworkUse(true);
    return session;
  }
};

void encode(const Encoding& encoding) {
  const auto session = encoding.session(AVAssetExportPresetHighestQuality);
  if (session == nullptr) return encoding.answer(encodingFailed("the video cannot be read."));
  session->exportAsynchronously([session, encoding] {
    if (session->status() == AVAssetExportSessionStatus::completed) {
      return encoding.answer(takenFrom(encoding.path));
    }
    const auto error = session->error();
    encoding.answer(encodingFailed(error ? error->localizedDescription : "it was given up."));
  });
}

// Most videos need another container at most, which takes a moment; encoding takes as long as they
// play. What they hold shows in the copy, which is of this system's own making.
void copyOrEncode(const Encoding& encoding) {
  const auto session = encoding.session(AVAssetExportPresetPassthrough);
  if (session == nullptr) return encode(encoding);
  session->exportAsynchronously([session, encoding] {
    if (session->status() != AVAssetExportSessionStatus::completed) return encode(encoding);
    const auto copy = takenFrom(encoding.path);
    if (!copy || !playsEverywhere(**copy)) return encode(encoding);
    encoding.answer(copy);
  });
}

std::shared_ptr<const StoredResource> motionOf(const FoundAsset& found) {
  const auto edited = found.fileOf(PHAssetResourceType::fullSizePairedVideo);
  return edited != nullptr ? edited : found.fileOf(PHAssetResourceType::pairedVideo);
}

bool hasVideo(const FoundAsset& found) {
  return found.asset->mediaType == PHAssetMediaType::video || motionOf(found) != nullptr;
}

}  // namespace

void Videos::answer(const Request& request, const std::shared_ptr<const FoundAsset>& found,
                    const std::string& tag, ExchangePtr exchange) {
  if (!hasVideo(*found)) {
    return exchange->answer(Response::text(kNotFound, "It has no moving pictures."));
  }
  auto video = std::ranges::find(videos_, tag, &Video::tag);
  if (video == videos_.end()) {
    videos_.push_front({.tag = tag, .found = found});
  } else {
    videos_.splice(videos_.begin(), videos_, video);
  }
  video = videos_.begin();
  if (video->file != nullptr) {
    return exchange->answer(fileResponse(request, video->file, "video/mp4", tag));
  }
  video->waiting.push_back({request, std::move(exchange)});
  encodeNext();
}

void Videos::encodeNext() {
  for (auto video = videos_.begin(); video != videos_.end() && encoding_ < kMostEncodings;) {
    if (video->file != nullptr || video->isEncoding) {
      ++video;
    } else if (std::ranges::none_of(video->waiting, [](const Waiting& waiting) {
                 return waiting.exchange->isWanted();
               })) {
      video = videos_.erase(video);
    } else {
      video->isEncoding = true;
      ++encoding_;
      encode(*video);
      ++video;
    }
  }
}

void Videos::encode(const Video& video) {
  const std::string path = folder_ + "/" + std::to_string(++last_) + ".mp4";
  const auto answer = desk_.mailbox().expect<Encoded>(
      [this, tag = video.tag](Encoded encoded) { finish(tag, encoded); });
  Platform& platform = desk_.platform();
  MediaFramework& framework = platform.mediaFramework;
  if (const auto motion = motionOf(*video.found)) {
    const auto movie = std::make_shared<const LinuxVideo>(motion->path, motion->file);
    // Looks into the file.
    desk_.run<Null>(
        [&framework, path, movie, answer] {
          copyOrEncode({path, framework, movie, answer});
          return Null{};
        },
        [](Null) {});
    return;
  }
  PHVideoRequestOptions options;
  options.version = PHImageRequestOptionsVersion::current;
  options.isNetworkAccessAllowed = true;
  platform.defaultImageManager->requestAVAssetForVideo(
      video.found->asset, options,
      [&framework, path, answer](const std::shared_ptr<const AVAsset>& asset, const PHImageInfo*) {
        copyOrEncode({path, framework, asset, answer});
      });
}

void Videos::finish(const std::string& tag, const Encoded& encoded) {
  --encoding_;
  const auto video = std::ranges::find(videos_, tag, &Video::tag);
  std::vector<Waiting> waiting = std::exchange(video->waiting, {});
  if (encoded) {
    video->file = *encoded;
    video->isEncoding = false;
  } else {
    videos_.erase(video);
  }
  for (const Waiting& each : waiting) {
    each.exchange->answer(encoded ? fileResponse(each.request, *encoded, "video/mp4", tag)
                                  : Response::text(kConflict, encoded.error().sentence()));
  }
  makeRoom();
  encodeNext();
}

void Videos::makeRoom() {
  std::uint64_t bytes = 0;
  std::size_t count = 0;
  std::erase_if(videos_, [&](const Video& video) {
    if (video.file == nullptr) return false;
    bytes += video.file->size;
    // The newest one stays, however large: somebody is about to read on in it.
    return ++count > kMostKept || (count > 1 && bytes > kMostBytesKept);
  });
}

}  // namespace quorvin
