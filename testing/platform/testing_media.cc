#include "testing/platform/testing_media.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <sstream>

#include "platform_linux/errors/failure.h"

namespace quorvin {
namespace {

std::string withSpaces(std::string text) {
  std::replace(text.begin(), text.end(), '_', ' ');
  return text;
}

SideKind sideKindCalled(const std::string& name) {
  if (name == "adjustment") return SideKind::adjustment;
  if (name == "xmp") return SideKind::xmp;
  return name == "takeout" ? SideKind::takeout : SideKind::album;
}

void sideProperty(const std::string& key, const std::string& value, SideNotes& notes) {
  if (key == "kind") notes.kind = sideKindCalled(value);
  if (key == "favorite") notes.favorite = true;
  if (key == "title") notes.title = withSpaces(value);
  const auto exported = [&]() -> ExportedNotes& {
    return notes.exported ? *notes.exported : notes.exported.emplace();
  };
  if (key == "part") {
    const std::string names = withSpaces(value.substr(value.find(':') + 1));
    const std::size_t was = std::min(names.find(':'), names.size());
    exported().parts.push_back(
        {std::stoll(value), names.substr(0, was), was < names.size() ? names.substr(was + 1) : ""});
  }
  if (key == "album") exported().albums.push_back(withSpaces(value));
  if (key == "modified") exported().modified = std::stoll(value);
  if (key == "hidden") exported().hidden = true;
  if (key == "burst") exported().burstIdentifier = value;
  if (key == "primary") exported().burstPrimary = true;
  if (key == "represents") exported().represents = true;
  if (key == "chosen") exported().burstSelection = std::stoull(value);
}

void describeSide(MediaProbe& probe) {
  const SideKind kind = probe.notes.kind;
  const bool json = kind == SideKind::takeout || kind == SideKind::album;
  probe.uniformTypeIdentifier = json ? "public.json" : "public.xml";
  probe.extension = json ? "json" : kind == SideKind::xmp ? "xmp" : "aae";
}

void property(const std::string& word, MediaProbe& probe) {
  const std::size_t equals = word.find('=');
  const std::string key = word.substr(0, equals);
  const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
  if (key == "date") probe.creationDate = std::stoll(value);
  if (probe.kind == MediaKind::side) return sideProperty(key, value, probe.notes);
  if (key == "id") probe.contentIdentifier = value;
  if (key == "burst") probe.burstIdentifier = value;
  if (key == "primary") probe.burstPrimary = true;
  if (key == "rate") probe.frameRate = std::stod(value);
  if (key == "captured") probe.captureFrameRate = std::stod(value);
  if (key == "subtypes") probe.mediaSubtypes = std::stoull(value);
  if (key == "raw") probe.raw = true;
  if (key == "front") probe.frontCamera = true;
  if (key == "orientation") probe.orientation = std::stoi(value);
  if (key == "movieat") probe.embeddedMovieOffset = std::stoll(value);
  if (key == "moviesize") probe.embeddedMovieLength = std::stoll(value);
}

std::string withoutSpaces(std::string text) {
  std::replace(text.begin(), text.end(), ' ', '_');
  return text;
}

std::string wordsOf(const ExportedNotes& notes) {
  std::ostringstream words;
  for (const NotedPart& part : notes.parts) {
    words << " part=" << part.type << ':' << withoutSpaces(part.name);
    if (!part.was.empty()) words << ':' << withoutSpaces(part.was);
  }
  for (const std::string& album : notes.albums) words << " album=" << withoutSpaces(album);
  if (notes.modified) words << " modified=" << *notes.modified;
  if (notes.hidden) words << " hidden";
  if (!notes.burstIdentifier.empty()) words << " burst=" << notes.burstIdentifier;
  if (notes.burstPrimary) words << " primary";
  if (notes.represents) words << " represents";
  if (notes.burstSelection != 0) words << " chosen=" << notes.burstSelection;
  return words.str();
}

std::string contentOf(const FileDescriptor& file) {
  std::array<char, 4096> buffer;
  const ssize_t size = file ? ::pread(file.get(), buffer.data(), buffer.size(), 0) : 0;
  return std::string(buffer.data(), size < 0 ? 0 : static_cast<std::size_t>(size));
}

}  // namespace

Result<MediaProbe> ScriptedMedia::probe(const FileDescriptor& file, const std::string& name) {
  ++probes;
  if (onProbe) onProbe(name);
  std::istringstream words(contentOf(file));
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
  } else if (word == "side") {
    probe.kind = MediaKind::side;
  } else {
    return Failure(LibraryErrorCode::invalidResource, "it is not a photo, video or audio file.");
  }
  const bool pictured = probe.kind == MediaKind::image || probe.kind == MediaKind::video;
  probe.pixelWidth = pictured ? 40 : 0;
  probe.pixelHeight = pictured ? 30 : 0;
  while (words >> word) property(word, probe);
  if (probe.kind == MediaKind::side) describeSide(probe);
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

Result<ByteBuffer> ScriptedMedia::writeXmp(const FileDescriptor& existing,
                                           const WriteXmpRequest& request) {
  std::string words = "side kind=xmp";
  if (request.creationDate) words += " date=" + std::to_string(*request.creationDate);
  if (request.notes.favorite) words += " favorite";
  if (request.notes.exported) words += wordsOf(*request.notes.exported);
  words += ' ' + contentOf(existing);
  return ByteBuffer(std::vector<std::uint8_t>(words.begin(), words.end()));
}

}  // namespace quorvin
