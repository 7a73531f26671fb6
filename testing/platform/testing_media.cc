#include "testing/platform/testing_media.h"

#include <unistd.h>

#include <array>
#include <sstream>

#include "platform_linux/errors/failure.h"

namespace quorvin {
namespace {

void property(const std::string& word, MediaProbe& probe) {
  const std::size_t equals = word.find('=');
  const std::string key = word.substr(0, equals);
  const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
  if (key == "id") probe.contentIdentifier = value;
  if (key == "burst") probe.burstIdentifier = value;
  if (key == "primary") probe.burstPrimary = true;
  if (key == "date") probe.creationDate = std::stoll(value);
  if (key == "rate") probe.frameRate = std::stod(value);
  if (key == "captured") probe.captureFrameRate = std::stod(value);
  if (key == "subtypes") probe.mediaSubtypes = std::stoull(value);
  if (key == "front") probe.frontCamera = true;
  if (key == "orientation") probe.orientation = std::stoi(value);
  if (key == "movieat") probe.embeddedMovieOffset = std::stoll(value);
  if (key == "moviesize") probe.embeddedMovieLength = std::stoll(value);
}

}  // namespace

Result<MediaProbe> ScriptedMedia::probe(const FileDescriptor& file, const std::string& name) {
  ++probes;
  if (onProbe) onProbe(name);
  std::array<char, 4096> buffer;
  const ssize_t size = ::pread(file.get(), buffer.data(), buffer.size(), 0);
  std::istringstream words(std::string(buffer.data(), size < 0 ? 0 : static_cast<size_t>(size)));
  std::string word;
  words >> word;
  MediaProbe probe;
  if (word == "image") {
    probe.kind = MediaKind::image;
    probe.uniformTypeIdentifier = "public.jpeg";
    probe.extension = "jpg";
  } else if (word == "video") {
    probe.kind = MediaKind::video;
    probe.uniformTypeIdentifier = "public.quicktime-movie";
    probe.extension = "mov";
    probe.duration = 2.5;
    probe.frameRate = 30;
  } else if (word == "audio") {
    probe.kind = MediaKind::audio;
    probe.uniformTypeIdentifier = "public.mp3";
    probe.extension = "mp3";
    probe.duration = 9;
  } else {
    return Failure(LibraryErrorCode::invalidResource, "it is not a photo, video or audio file.");
  }
  probe.pixelWidth = probe.kind == MediaKind::audio ? 0 : 40;
  probe.pixelHeight = probe.kind == MediaKind::audio ? 0 : 30;
  while (words >> word) property(word, probe);
  return probe;
}

Result<std::shared_ptr<const RenderedImage>> ScriptedMedia::render(const FileDescriptor&,
                                                                   const RenderRequest&,
                                                                   std::stop_token) {
  return Failure(LibraryErrorCode::internal, "nothing is rendered here.");
}

Result<ByteBuffer> ScriptedMedia::encode(const RenderedImage&, ImageFormat, double) {
  return Failure(LibraryErrorCode::internal, "nothing is encoded here.");
}

}  // namespace quorvin
