#include "media_protocol/wire.h"

#include <cmath>
#include <limits>
#include <utility>

namespace quorvin {

namespace {

constexpr Literal kOperation = "operation"_lit;
constexpr Literal kProbe = "probe"_lit;
constexpr Literal kRender = "render"_lit;
constexpr Literal kEncode = "encode"_lit;

constexpr Literal kExportContainers = "exportContainers"_lit;
constexpr Literal kExportVideo = "exportVideo"_lit;
constexpr Literal kDescribe = "describe"_lit;

constexpr Literal kName = "name"_lit;
constexpr Literal kKind = "kind"_lit;
constexpr Literal kTargetWidth = "targetWidth"_lit;
constexpr Literal kTargetHeight = "targetHeight"_lit;
constexpr Literal kFit = "fit"_lit;
constexpr Literal kCrop = "crop"_lit;
constexpr Literal kFailOnDamage = "failOnDamage"_lit;
constexpr Literal kKeepProfile = "keepProfile"_lit;
constexpr Literal kFormat = "format"_lit;
constexpr Literal kQuality = "quality"_lit;
constexpr Literal kWidth = "width"_lit;
constexpr Literal kHeight = "height"_lit;
constexpr Literal kChannels = "channels"_lit;
constexpr Literal kProfileSize = "profileSize"_lit;

constexpr Literal kPreset = "preset"_lit;
constexpr Literal kContainer = "container"_lit;
constexpr Literal kIndexFirst = "indexFirst"_lit;
constexpr Literal kTimeMap = "timeMap"_lit;

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

constexpr Literal kContainers = "containers"_lit;
constexpr Literal kExportState = "exportState"_lit;

constexpr Literal kLayers = "layers"_lit;
constexpr Literal kLibraries = "libraries"_lit;
constexpr Literal kRefusedCalls = "refusedCalls"_lit;

constexpr Literal kError = "error"_lit;
constexpr Literal kCode = "code"_lit;

constexpr std::size_t kTimesPerSegment = 3;
constexpr std::int64_t kMaximum = std::numeric_limits<std::int64_t>::max();

/// Reads a map's values into variables: each reader is false, and leaves its variable alone, when
/// the value is missing, of another type or out of range.
class Reader {
 public:
  explicit Reader(const Map& map) : map_(map) {}

  template <class T>
  bool value(Literal key, T& into) const {
    const Value* found = find(map_, key);
    const T* typed = found == nullptr ? nullptr : found->as<T>();
    if (typed != nullptr) into = *typed;
    return typed != nullptr;
  }

  bool text(Literal key, std::string& into) const {
    const Value* found = find(map_, key);
    if (found == nullptr || !found->isText()) return false;
    into = found->text();
    return true;
  }

  bool texts(Literal key, std::vector<std::string>& into) const {
    List list;
    if (!value(key, list)) return false;
    for (const Value& each : list) {
      if (!each.isText()) return false;
      into.emplace_back(each.text());
    }
    return true;
  }

  /// An integer or an enumerator.
  template <class T>
  bool within(Literal key, std::int64_t least, std::int64_t most, T& into) const {
    std::int64_t read = 0;
    if (!value(key, read) || read < least || read > most) return false;
    into = static_cast<T>(read);
    return true;
  }

  /// A finite double that is not negative.
  bool amount(Literal key, double& into) const {
    double found = 0;
    if (!value(key, found) || !std::isfinite(found) || found < 0) return false;
    into = found;
    return true;
  }

  bool operation(Literal name) const {
    const Value* found = find(map_, kOperation);
    return found != nullptr && found->isText() && found->text() == name.text;
  }

 private:
  const Map& map_;
};

void add(Map& map, Literal key, Value value) {
  map.emplace_back(key, std::move(value));
}

template <class Enum>
std::int64_t number(Enum value) {
  return static_cast<std::int64_t>(value);
}

Map toMap(const ProbeRequest& request) {
  return {{kOperation, kProbe}, {kName, request.name}};
}

Map toMap(const RenderRequest& request) {
  return {{kOperation, kRender},
          {kKind, number(request.kind)},
          {kTargetWidth, request.targetWidth},
          {kTargetHeight, request.targetHeight},
          {kFit, number(request.fit)},
          {kCrop, request.crop},
          {kFailOnDamage, request.failOnDamage},
          {kKeepProfile, request.keepProfile}};
}

Map toMap(const EncodeRequest& request) {
  Map map{{kOperation, kEncode}, {kFormat, number(request.format)}, {kQuality, request.quality}};
  for (auto& entry : layoutToMap(request.layout)) map.push_back(std::move(entry));
  return map;
}

Map toMap(const ExportContainersRequest& request) {
  return {{kOperation, kExportContainers}, {kPreset, number(request.preset)}};
}

Map toMap(const VideoExportRequest& request) {
  std::vector<std::int64_t> times;
  times.reserve(request.timeMap.size() * kTimesPerSegment);
  for (const TimeMapSegment& each : request.timeMap) {
    times.insert(times.end(), {each.sourceStart.count(), each.sourceDuration.count(),
                               each.targetDuration.count()});
  }
  return {{kOperation, kExportVideo},
          {kPreset, number(request.preset)},
          {kContainer, number(request.container)},
          {kIndexFirst, request.indexFirst},
          {kTimeMap, std::move(times)}};
}

Map toMap(const DescribeRequest&) {
  return {{kOperation, kDescribe}};
}

List toList(const std::vector<NamedText>& texts) {
  List list;
  for (const NamedText& each : texts) {
    list.emplace_back(each.name);
    list.emplace_back(each.text);
  }
  return list;
}

// Names and texts in turn.
bool read(const Reader& reader, Literal key, std::vector<NamedText>& texts) {
  std::vector<std::string> flat;
  if (!reader.texts(key, flat) || flat.size() % 2 != 0) return false;
  for (std::size_t i = 0; i < flat.size(); i += 2) texts.push_back({flat[i], flat[i + 1]});
  return true;
}

bool read(const Reader& reader, VideoPreset& preset) {
  return reader.within(kPreset, number(VideoPreset::passthrough),
                       number(VideoPreset::mediumQuality), preset);
}

bool read(const Reader& reader, VideoExportRequest& request) {
  std::vector<std::int64_t> times;
  const bool whole = read(reader, request.preset) &&
                     reader.within(kContainer, number(VideoContainer::quickTime),
                                   number(VideoContainer::mpeg4), request.container) &&
                     reader.value(kIndexFirst, request.indexFirst) &&
                     reader.value(kTimeMap, times) && times.size() % kTimesPerSegment == 0;
  if (!whole) return false;
  for (std::size_t i = 0; i < times.size(); i += kTimesPerSegment) {
    using std::chrono::nanoseconds;
    request.timeMap.push_back(
        {nanoseconds(times[i]), nanoseconds(times[i + 1]), nanoseconds(times[i + 2])});
  }
  return isPlayable(request.timeMap);
}

bool read(const Reader& reader, RenderRequest& request) {
  return reader.within(kKind, number(MediaKind::image), number(MediaKind::audio), request.kind) &&
         reader.value(kTargetWidth, request.targetWidth) &&
         reader.value(kTargetHeight, request.targetHeight) &&
         reader.within(kFit, number(RenderRequest::Fit::fit), number(RenderRequest::Fit::original),
                       request.fit) &&
         reader.value(kCrop, request.crop) && reader.value(kFailOnDamage, request.failOnDamage) &&
         reader.value(kKeepProfile, request.keepProfile);
}

}  // namespace

Map requestToMap(const WorkerRequest& request) {
  return std::visit([](const auto& each) { return toMap(each); }, request);
}

std::optional<WorkerRequest> requestFromMap(const Map& map) {
  const Reader reader(map);
  if (reader.operation(kProbe)) {
    ProbeRequest request;
    if (reader.text(kName, request.name)) return request;
  } else if (reader.operation(kRender)) {
    RenderRequest request;
    if (read(reader, request)) return request;
  } else if (reader.operation(kEncode)) {
    EncodeRequest request;
    const auto layout = layoutFromMap(map);
    if (layout &&
        reader.within(kFormat, number(ImageFormat::jpeg), number(ImageFormat::png),
                      request.format) &&
        reader.value(kQuality, request.quality) && request.quality >= 0 && request.quality <= 1) {
      request.layout = *layout;
      return request;
    }
  } else if (reader.operation(kExportContainers)) {
    ExportContainersRequest request;
    if (read(reader, request.preset)) return request;
  } else if (reader.operation(kExportVideo)) {
    VideoExportRequest request;
    if (read(reader, request)) return request;
  } else if (reader.operation(kDescribe)) {
    return DescribeRequest();
  }
  return std::nullopt;
}

Map probeToMap(const MediaProbe& probe) {
  Map map{{kKind, number(probe.kind)},
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
  if (probe.creationDate) add(map, kCreationDate, *probe.creationDate);
  return map;
}

std::optional<MediaProbe> probeFromMap(const Map& map) {
  const Reader reader(map);
  MediaProbe probe;
  const bool whole =
      reader.within(kKind, number(MediaKind::image), number(MediaKind::audio), probe.kind) &&
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
  if (!whole) return std::nullopt;
  if (find(map, kCreationDate) != nullptr) {
    std::int64_t date = 0;
    if (!reader.value(kCreationDate, date)) return std::nullopt;
    probe.creationDate = date;
  }
  return probe;
}

Map layoutToMap(const PixelLayout& layout) {
  return {{kWidth, layout.width},
          {kHeight, layout.height},
          {kChannels, layout.channels},
          {kProfileSize, layout.profileSize}};
}

std::optional<PixelLayout> layoutFromMap(const Map& map) {
  const Reader reader(map);
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
  if (!Reader(map).value(kContainers, numbers)) return std::nullopt;
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

Map exportStateToMap(ExportState state) {
  return {{kExportState, number(state)}};
}

std::optional<ExportState> exportStateFromMap(const Map& map) {
  ExportState state{};
  const bool whole = Reader(map).within(kExportState, number(ExportState::underWay),
                                        number(ExportState::done), state);
  return whole ? std::optional(state) : std::nullopt;
}

Map descriptionToMap(const WorkerDescription& description) {
  List refused;
  for (const std::string& each : description.refusedCalls) refused.emplace_back(each);
  return {{kLayers, toList(description.layers)},
          {kLibraries, toList(description.libraries)},
          {kRefusedCalls, std::move(refused)}};
}

std::optional<WorkerDescription> descriptionFromMap(const Map& map) {
  const Reader reader(map);
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
  const Reader reader(map);
  Failure error;
  const bool whole =
      reader.text(kError, error.reason) && !error.reason.empty() && reader.value(kCode, error.code);
  return whole ? std::optional(std::move(error)) : std::nullopt;
}

}  // namespace quorvin
