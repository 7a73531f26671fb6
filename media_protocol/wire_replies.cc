#include <algorithm>
#include <limits>
#include <utility>

#include "media_protocol/map_reader.h"
#include "media_protocol/wire.h"

namespace quorvin {

namespace {

constexpr Literal kMediaKind = "kind"_lit;
constexpr Literal kWidth = "width"_lit;
constexpr Literal kHeight = "height"_lit;
constexpr Literal kChannels = "channels"_lit;
constexpr Literal kProfileSize = "profileSize"_lit;
constexpr Literal kUniformTypeIdentifier = "uniformTypeIdentifier"_lit;
constexpr Literal kExtension = "extension"_lit;
constexpr Literal kPixelWidth = "pixelWidth"_lit;
constexpr Literal kPixelHeight = "pixelHeight"_lit;
constexpr Literal kOrientation = "orientation"_lit;
constexpr Literal kDuration = "duration"_lit;
constexpr Literal kFrameRate = "frameRate"_lit;
constexpr Literal kCaptureFrameRate = "captureFrameRate"_lit;
constexpr Literal kMediaSubtypes = "mediaSubtypes"_lit;
constexpr Literal kCreationDate = "creationDate"_lit;
constexpr Literal kContentIdentifier = "contentIdentifier"_lit;
constexpr Literal kBurstIdentifier = "burstIdentifier"_lit;
constexpr Literal kBurstPrimary = "burstPrimary"_lit;
constexpr Literal kFrontCamera = "frontCamera"_lit;
constexpr Literal kAnimated = "animated"_lit;
constexpr Literal kRaw = "raw"_lit;
constexpr Literal kEmbeddedMovieOffset = "embeddedMovieOffset"_lit;
constexpr Literal kEmbeddedMovieLength = "embeddedMovieLength"_lit;
constexpr Literal kNotes = "notes"_lit;
constexpr Literal kContainers = "containers"_lit;
constexpr Literal kProgress = "progress"_lit;
constexpr Literal kDone = "done"_lit;
constexpr Literal kLayers = "layers"_lit;
constexpr Literal kLibraries = "libraries"_lit;
constexpr Literal kRefusedCalls = "refusedCalls"_lit;
constexpr Literal kError = "error"_lit;
constexpr Literal kCode = "code"_lit;

constexpr std::int64_t kMaximum = std::numeric_limits<std::int64_t>::max();

List toList(const std::vector<NamedText>& texts) {
  List list;
  for (const NamedText& each : texts) {
    list.emplace_back(each.name);
    list.emplace_back(each.text);
  }
  return list;
}

// Names and texts in turn.
bool read(const MapReader& reader, Literal key, std::vector<NamedText>& texts) {
  std::vector<std::string> flat;
  if (!reader.texts(key, flat) || flat.size() % 2 != 0) return false;
  for (std::size_t i = 0; i < flat.size(); i += 2) texts.push_back({flat[i], flat[i + 1]});
  return true;
}

// What can be shown to people.
bool isLine(const std::string& text) {
  return !text.empty() && text.size() <= kLongestText && std::ranges::none_of(text, [](char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
  });
}

bool isLibraryErrorCode(std::int64_t code) {
  using enum LibraryErrorCode;
  constexpr LibraryErrorCode kKnown[] = {
      internal,           userCancelled,        identifierNotFound,
      changeNotSupported, operationInterrupted, invalidResource,
      missingResource,    notEnoughSpace,       requestNotSupportedForAsset,
      accessRestricted,   accessUserDenied};
  return std::ranges::any_of(kKnown,
                             [code](LibraryErrorCode each) { return number(each) == code; });
}

// A picture or a movie has a moderate number of pixels, frames and seconds.
bool isPlausible(const MediaProbe& probe) {
  const auto isShort = [](const std::string& text) { return text.size() <= kLongestText; };
  return probe.pixelWidth <= kMaximumPixelCount && probe.pixelHeight <= kMaximumPixelCount &&
         probe.duration <= kMostSeconds && probe.frameRate <= kMostFrames &&
         probe.captureFrameRate <= kMostFrames && isShort(probe.uniformTypeIdentifier) &&
         isShort(probe.contentIdentifier) && isShort(probe.burstIdentifier) &&
         probe.embeddedMovieLength <= kMaximum - probe.embeddedMovieOffset;
}

}  // namespace

Map probeToMap(const MediaProbe& probe) {
  Map map{{kMediaKind, number(probe.kind)},
          {kUniformTypeIdentifier, probe.uniformTypeIdentifier},
          {kExtension, probe.extension},
          {kPixelWidth, probe.pixelWidth},
          {kPixelHeight, probe.pixelHeight},
          {kOrientation, probe.orientation},
          {kDuration, probe.duration},
          {kFrameRate, probe.frameRate},
          {kCaptureFrameRate, probe.captureFrameRate},
          {kMediaSubtypes, static_cast<std::int64_t>(probe.mediaSubtypes)},
          {kContentIdentifier, probe.contentIdentifier},
          {kBurstIdentifier, probe.burstIdentifier},
          {kBurstPrimary, probe.burstPrimary},
          {kFrontCamera, probe.frontCamera},
          {kAnimated, probe.animated},
          {kRaw, probe.raw},
          {kEmbeddedMovieOffset, probe.embeddedMovieOffset},
          {kEmbeddedMovieLength, probe.embeddedMovieLength}};
  if (probe.creationDate) map.emplace_back(kCreationDate, *probe.creationDate);
  if (probe.kind == MediaKind::side) map.emplace_back(kNotes, notesToMap(probe.notes));
  return map;
}

std::optional<MediaProbe> probeFromMap(const Map& map) {
  const MapReader reader(map);
  MediaProbe probe;
  const bool whole =
      reader.within(kMediaKind, number(MediaKind::image), number(MediaKind::side), probe.kind) &&
      reader.text(kUniformTypeIdentifier, probe.uniformTypeIdentifier) &&
      reader.text(kExtension, probe.extension) &&
      reader.within(kPixelWidth, 0, kMaximum, probe.pixelWidth) &&
      reader.within(kPixelHeight, 0, kMaximum, probe.pixelHeight) &&
      reader.within(kOrientation, 1, 8, probe.orientation) &&
      reader.amount(kDuration, probe.duration) && reader.amount(kFrameRate, probe.frameRate) &&
      reader.amount(kCaptureFrameRate, probe.captureFrameRate) &&
      reader.within(kMediaSubtypes, 0, kMaximum, probe.mediaSubtypes) &&
      reader.text(kContentIdentifier, probe.contentIdentifier) &&
      reader.text(kBurstIdentifier, probe.burstIdentifier) &&
      reader.value(kBurstPrimary, probe.burstPrimary) &&
      reader.value(kFrontCamera, probe.frontCamera) && reader.value(kAnimated, probe.animated) &&
      reader.value(kRaw, probe.raw) &&
      reader.within(kEmbeddedMovieOffset, 0, kMaximum, probe.embeddedMovieOffset) &&
      reader.within(kEmbeddedMovieLength, 0, kMaximum, probe.embeddedMovieLength);
  if (!whole || !isPlausible(probe)) return std::nullopt;
  if (find(map, kCreationDate) != nullptr) {
    std::int64_t date = 0;
    if (!reader.value(kCreationDate, date)) return std::nullopt;
    probe.creationDate = date;
  }
  if (probe.kind != MediaKind::side) return probe;
  Map ofNotes;
  if (!reader.value(kNotes, ofNotes)) return std::nullopt;
  auto notes = notesFromMap(ofNotes);
  if (!notes || notes->kind == SideKind::none) return std::nullopt;
  probe.notes = *std::move(notes);
  return probe;
}

Map layoutToMap(const PixelLayout& layout) {
  return {{kWidth, layout.width},
          {kHeight, layout.height},
          {kChannels, layout.channels},
          {kProfileSize, layout.profileSize}};
}

std::optional<PixelLayout> layoutFromMap(const Map& map) {
  const MapReader reader(map);
  PixelLayout layout;
  const bool whole = reader.within(kWidth, 1, kMaximumPixelCount, layout.width) &&
                     reader.within(kHeight, 1, kMaximumPixelCount, layout.height) &&
                     reader.within(kChannels, 3, 4, layout.channels) &&
                     reader.within(kProfileSize, 0, kMaximumProfileSize, layout.profileSize) &&
                     layout.height <= kMaximumPixelCount / layout.width;
  return whole ? std::optional(layout) : std::nullopt;
}

Map containersToMap(const std::vector<VideoContainer>& containers) {
  std::vector<std::int64_t> numbers;
  numbers.reserve(containers.size());
  for (const VideoContainer each : containers) numbers.push_back(number(each));
  return {{kContainers, std::move(numbers)}};
}

std::optional<std::vector<VideoContainer>> containersFromMap(const Map& map) {
  std::vector<std::int64_t> numbers;
  if (!MapReader(map).value(kContainers, numbers)) return std::nullopt;
  std::vector<VideoContainer> containers;
  for (const std::int64_t each : numbers) {
    // In order, and none twice.
    const std::int64_t least =
        containers.empty() ? number(VideoContainer::quickTime) : number(containers.back()) + 1;
    if (each < least || each > number(VideoContainer::mpeg4)) return std::nullopt;
    containers.push_back(static_cast<VideoContainer>(each));
  }
  return containers;
}

Map progressToMap(std::int64_t bytes) {
  return {{kProgress, bytes}};
}

std::optional<std::int64_t> progressFromMap(const Map& map) {
  std::int64_t bytes = 0;
  const bool whole = MapReader(map).within(kProgress, 0, kMaximum, bytes);
  return whole ? std::optional(bytes) : std::nullopt;
}

Map exportDoneToMap() {
  return {{kDone, true}};
}

bool isExportDone(const Map& map) {
  bool done = false;
  return MapReader(map).value(kDone, done) && done;
}

Map descriptionToMap(const WorkerDescription& description) {
  List refused;
  for (const std::string& each : description.refusedCalls) refused.emplace_back(each);
  return {{kLayers, toList(description.layers)},
          {kLibraries, toList(description.libraries)},
          {kRefusedCalls, std::move(refused)}};
}

std::optional<WorkerDescription> descriptionFromMap(const Map& map) {
  const MapReader reader(map);
  WorkerDescription description;
  const bool whole = read(reader, kLayers, description.layers) &&
                     read(reader, kLibraries, description.libraries) &&
                     reader.texts(kRefusedCalls, description.refusedCalls);
  return whole ? std::optional(std::move(description)) : std::nullopt;
}

Map errorToMap(const Failure& error) {
  return {{kError, error.reason}, {kCode, error.code}};
}

std::optional<Failure> errorFromMap(const Map& map) {
  const MapReader reader(map);
  Failure error;
  const bool whole = reader.text(kError, error.reason) && isLine(error.reason) &&
                     reader.value(kCode, error.code) && isLibraryErrorCode(error.code);
  return whole ? std::optional(std::move(error)) : std::nullopt;
}

}  // namespace quorvin
