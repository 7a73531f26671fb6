#include "media_protocol/wire.h"

#include <utility>

#include "media_protocol/map_reader.h"

namespace quorvin {

namespace {

constexpr Literal kOperation = "operation"_lit;
constexpr Literal kProbe = "probe"_lit;
constexpr Literal kRender = "render"_lit;
constexpr Literal kEncode = "encode"_lit;
constexpr Literal kExportContainers = "exportContainers"_lit;
constexpr Literal kExportVideo = "exportVideo"_lit;
constexpr Literal kWriteXmp = "writeXmp"_lit;
constexpr Literal kDescribe = "describe"_lit;
constexpr Literal kName = "name"_lit;
constexpr Literal kTargetWidth = "targetWidth"_lit;
constexpr Literal kTargetHeight = "targetHeight"_lit;
constexpr Literal kFit = "fit"_lit;
constexpr Literal kCrop = "crop"_lit;
constexpr Literal kFailOnDamage = "failOnDamage"_lit;
constexpr Literal kKeepProfile = "keepProfile"_lit;
constexpr Literal kPreviewAlone = "previewAlone"_lit;
constexpr Literal kFullWidth = "fullWidth"_lit;
constexpr Literal kFullHeight = "fullHeight"_lit;
constexpr Literal kFormat = "format"_lit;
constexpr Literal kQuality = "quality"_lit;
constexpr Literal kPreset = "preset"_lit;
constexpr Literal kContainer = "container"_lit;
constexpr Literal kIndexFirst = "indexFirst"_lit;
constexpr Literal kTimeMap = "timeMap"_lit;
constexpr Literal kPacketDate = "creationDate"_lit;
constexpr Literal kPacketNotes = "notes"_lit;
constexpr Literal kKind = "kind"_lit;

constexpr std::size_t kTimesPerSegment = 3;

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
          {kKeepProfile, request.keepProfile},
          {kPreviewAlone, request.previewAlone},
          {kFullWidth, request.fullWidth},
          {kFullHeight, request.fullHeight}};
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

Map toMap(const WriteXmpRequest& request) {
  Map map{{kOperation, kWriteXmp}, {kPacketNotes, notesToMap(request.notes)}};
  if (request.creationDate) map.emplace_back(kPacketDate, *request.creationDate);
  return map;
}

Map toMap(const DescribeRequest&) {
  return {{kOperation, kDescribe}};
}

bool read(const MapReader& reader, VideoPreset& preset) {
  return reader.within(kPreset, number(VideoPreset::passthrough),
                       number(VideoPreset::mediumQuality), preset);
}

bool read(const MapReader& reader, VideoExportRequest& request) {
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

bool read(const MapReader& reader, const Map& map, WriteXmpRequest& request) {
  Map notes;
  if (!reader.value(kPacketNotes, notes)) return false;
  auto read = notesFromMap(notes);
  if (!read) return false;
  request.notes = *std::move(read);
  return find(map, kPacketDate) == nullptr ||
         reader.value(kPacketDate, request.creationDate.emplace());
}

bool read(const MapReader& reader, RenderRequest& request) {
  return reader.within(kKind, number(MediaKind::image), number(MediaKind::audio), request.kind) &&
         reader.value(kTargetWidth, request.targetWidth) &&
         reader.value(kTargetHeight, request.targetHeight) &&
         reader.within(kFit, number(RenderRequest::Fit::fit), number(RenderRequest::Fit::original),
                       request.fit) &&
         reader.value(kCrop, request.crop) && reader.value(kFailOnDamage, request.failOnDamage) &&
         reader.value(kKeepProfile, request.keepProfile) &&
         reader.value(kPreviewAlone, request.previewAlone) &&
         reader.within(kFullWidth, 0, kMaximumPixelCount, request.fullWidth) &&
         reader.within(kFullHeight, 0, kMaximumPixelCount, request.fullHeight);
}

}  // namespace

Map requestToMap(const WorkerRequest& request) {
  return std::visit([](const auto& each) { return toMap(each); }, request);
}

std::optional<WorkerRequest> requestFromMap(const Map& map) {
  const MapReader reader(map);
  if (reader.isText(kOperation, kProbe)) {
    ProbeRequest request;
    if (reader.text(kName, request.name)) return request;
  } else if (reader.isText(kOperation, kRender)) {
    RenderRequest request;
    if (read(reader, request)) return request;
  } else if (reader.isText(kOperation, kEncode)) {
    EncodeRequest request;
    const auto layout = layoutFromMap(map);
    if (layout &&
        reader.within(kFormat, number(ImageFormat::jpeg), number(ImageFormat::png),
                      request.format) &&
        reader.value(kQuality, request.quality) && request.quality >= 0 && request.quality <= 1) {
      request.layout = *layout;
      return request;
    }
  } else if (reader.isText(kOperation, kExportContainers)) {
    ExportContainersRequest request;
    if (read(reader, request.preset)) return request;
  } else if (reader.isText(kOperation, kExportVideo)) {
    VideoExportRequest request;
    if (read(reader, request)) return request;
  } else if (reader.isText(kOperation, kWriteXmp)) {
    WriteXmpRequest request;
    if (read(reader, map, request)) return request;
  } else if (reader.isText(kOperation, kDescribe)) {
    return DescribeRequest();
  }
  return std::nullopt;
}

}  // namespace quorvin
