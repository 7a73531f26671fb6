#include "media_protocol/wire.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <string_view>

namespace quorvin {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

RenderRequest someRender() {
  RenderRequest request;
  request.kind = MediaKind::video;
  request.targetWidth = 256.5;
  request.targetHeight = kInfinity;
  request.fit = RenderRequest::Fit::fill;
  request.crop = true;
  request.failOnDamage = true;
  request.fullWidth = 4000;
  request.fullHeight = 3000;
  return request;
}

MediaProbe someProbe() {
  MediaProbe probe;
  probe.kind = MediaKind::video;
  probe.uniformTypeIdentifier = "public.mpeg-4";
  probe.extension = "mp4";
  probe.pixelWidth = 1080;
  probe.pixelHeight = 1920;
  probe.orientation = 6;
  probe.duration = 1.5;
  probe.frameRate = 29.97;
  probe.captureFrameRate = 240;
  probe.mediaSubtypes = 0x20008;
  probe.creationDate = -1'500'000;
  probe.contentIdentifier = "content";
  probe.burstIdentifier = "burst";
  probe.burstPrimary = true;
  probe.frontCamera = true;
  probe.animated = true;
  probe.raw = true;
  probe.embeddedMovieOffset = 5'000'000'000;
  probe.embeddedMovieLength = 7;
  return probe;
}

Map without(const Map& map, std::size_t index) {
  Map rest = map;
  rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(index));
  return rest;
}

Map with(const Map& map, std::string_view key, Value value) {
  Map changed = map;
  for (auto& [name, old] : changed) {
    if (name.text() == key) old = value;
  }
  return changed;
}

/// Every key must be there, and hold the type that it holds in `whole`.
void expectEveryKeyNeeded(const Map& whole, const std::function<bool(const Map&)>& reads) {
  ASSERT_TRUE(reads(whole));
  for (std::size_t i = 0; i < whole.size(); ++i) {
    const std::string key(whole[i].first.text());
    EXPECT_FALSE(reads(without(whole, i))) << key;
    EXPECT_FALSE(reads(with(whole, key, List{}))) << key;
    EXPECT_FALSE(reads(with(whole, key, Null{}))) << key;
  }
}

bool readsRequest(const Map& map) {
  return requestFromMap(map).has_value();
}
bool readsProbe(const Map& map) {
  return probeFromMap(map).has_value();
}
bool readsLayout(const Map& map) {
  return layoutFromMap(map).has_value();
}

TEST(WorkerProtocol, ReadsAProbeRequestBack) {
  const auto read = requestFromMap(requestToMap(ProbeRequest{"IMG_0001.HEIC"}));
  ASSERT_TRUE(read);
  EXPECT_EQ(std::get<ProbeRequest>(*read).name, "IMG_0001.HEIC");
}

TEST(WorkerProtocol, ReadsARenderRequestBack) {
  const auto read = requestFromMap(requestToMap(someRender()));
  ASSERT_TRUE(read);
  const auto& request = std::get<RenderRequest>(*read);
  EXPECT_EQ(request.kind, MediaKind::video);
  EXPECT_EQ(request.targetWidth, 256.5);
  EXPECT_EQ(request.targetHeight, kInfinity);
  EXPECT_EQ(request.fit, RenderRequest::Fit::fill);
  EXPECT_TRUE(request.crop);
  EXPECT_TRUE(request.failOnDamage);
  EXPECT_EQ(request.fullWidth, 4000);
  EXPECT_EQ(request.fullHeight, 3000);
}

TEST(WorkerProtocol, PassesOnATargetThatIsNoSize) {
  RenderRequest request;
  request.targetWidth = std::numeric_limits<double>::quiet_NaN();
  request.targetHeight = -3;
  const auto read = requestFromMap(requestToMap(request));
  ASSERT_TRUE(read);
  EXPECT_TRUE(std::isnan(std::get<RenderRequest>(*read).targetWidth));
  EXPECT_EQ(std::get<RenderRequest>(*read).targetHeight, -3);
}

TEST(WorkerProtocol, ReadsAnEncodeRequestBack) {
  const EncodeRequest request{ImageFormat::png, 0.25, {640, 480, 4}};
  const auto read = requestFromMap(requestToMap(request));
  ASSERT_TRUE(read);
  EXPECT_EQ(std::get<EncodeRequest>(*read), request);
}

TEST(WorkerProtocol, ReadsARequestForXmpBack) {
  WriteXmpRequest request{-7, {.kind = SideKind::xmp, .favorite = true}};
  request.notes.exported = ExportedNotes{.parts = {{1, "a.jpg"}}};
  const auto read = requestFromMap(requestToMap(request));
  ASSERT_TRUE(read);
  EXPECT_EQ(std::get<WriteXmpRequest>(*read), request);
  request.creationDate.reset();
  const auto dateless = requestFromMap(requestToMap(request));
  ASSERT_TRUE(dateless);
  EXPECT_EQ(std::get<WriteXmpRequest>(*dateless), request);
}

VideoExportRequest someExport() {
  using std::chrono::seconds;
  return {VideoPreset::mediumQuality,
          VideoContainer::mpeg4,
          true,
          {{seconds(0), seconds(1), seconds(4)}, {seconds(1), seconds(2), seconds(1)}}};
}

TEST(WorkerProtocol, ReadsARequestForContainersBack) {
  const ExportContainersRequest request{VideoPreset::highestQuality};
  const auto read = requestFromMap(requestToMap(request));
  ASSERT_TRUE(read);
  EXPECT_EQ(std::get<ExportContainersRequest>(*read), request);
}

TEST(WorkerProtocol, ReadsARequestForAnExportBack) {
  const auto read = requestFromMap(requestToMap(someExport()));
  ASSERT_TRUE(read);
  EXPECT_EQ(std::get<VideoExportRequest>(*read), someExport());
}

TEST(WorkerProtocol, RefusesExportsOutOfRange) {
  const Map request = requestToMap(someExport());
  for (const int number : {0, 4, -1}) {
    EXPECT_FALSE(readsRequest(with(request, "preset", number)));
    EXPECT_FALSE(readsRequest(with(request, "container", number)));
  }
  EXPECT_FALSE(readsRequest(with(request, "timeMap", std::vector<std::int64_t>{0, 1})));
  EXPECT_FALSE(readsRequest(with(request, "timeMap", std::vector<std::int64_t>{0, 0, 1})));
  EXPECT_TRUE(readsRequest(with(request, "timeMap", std::vector<std::int64_t>{})));
}

TEST(WorkerProtocol, ReadsContainersBack) {
  for (const auto& containers : {std::vector<VideoContainer>{}, std::vector{VideoContainer::mpeg4},
                                 std::vector{VideoContainer::quickTime, VideoContainer::mpeg4}}) {
    EXPECT_EQ(containersFromMap(containersToMap(containers)), containers);
  }
}

TEST(WorkerProtocol, RefusesContainersThatThereAreNotOrTwice) {
  const auto reads = [](std::vector<std::int64_t> numbers) {
    return containersFromMap({{"containers", std::move(numbers)}}).has_value();
  };
  EXPECT_FALSE(reads({0}));
  EXPECT_FALSE(reads({3}));
  EXPECT_FALSE(reads({1, 1}));
  EXPECT_FALSE(reads({2, 1}));
  EXPECT_FALSE(containersFromMap({}));
}

TEST(WorkerProtocol, ReadsTheStateOfAnExportBack) {
  EXPECT_EQ(progressFromMap(progressToMap(70'000)), 70'000);
  EXPECT_FALSE(progressFromMap({{"progress", -1}}));
  EXPECT_FALSE(progressFromMap(exportDoneToMap()));
  EXPECT_TRUE(isExportDone(exportDoneToMap()));
  EXPECT_FALSE(isExportDone(progressToMap(70'000)));
  EXPECT_FALSE(isExportDone({{"done", false}}));
}

TEST(WorkerProtocol, NeedsEveryKeyOfARequest) {
  expectEveryKeyNeeded(requestToMap(someExport()), readsRequest);
  expectEveryKeyNeeded(requestToMap(ExportContainersRequest{}), readsRequest);
  expectEveryKeyNeeded(requestToMap(ProbeRequest{"a"}), readsRequest);
  expectEveryKeyNeeded(requestToMap(WriteXmpRequest{}), readsRequest);
  expectEveryKeyNeeded(requestToMap(someRender()), readsRequest);
  expectEveryKeyNeeded(requestToMap(EncodeRequest{ImageFormat::jpeg, 1, {1, 1, 3}}), readsRequest);
}

TEST(WorkerProtocol, RefusesRequestsOutOfRange) {
  const Map render = requestToMap(someRender());
  EXPECT_FALSE(readsRequest(with(render, "kind", 0)));
  EXPECT_FALSE(readsRequest(with(render, "kind", 4)));
  EXPECT_FALSE(readsRequest(with(render, "fit", 3)));
  EXPECT_FALSE(readsRequest(with(render, "fit", -1)));
  EXPECT_FALSE(readsRequest(with(render, "targetWidth", 256)));
  EXPECT_FALSE(readsRequest(with(render, "operation", "export")));
  const Map encode = requestToMap(EncodeRequest{ImageFormat::jpeg, 1, {1, 1, 3}});
  EXPECT_FALSE(readsRequest(with(encode, "format", 3)));
  EXPECT_FALSE(readsRequest(with(encode, "quality", 1.01)));
  EXPECT_FALSE(readsRequest(with(encode, "quality", -0.01)));
  EXPECT_FALSE(readsRequest(with(encode, "quality", std::numeric_limits<double>::quiet_NaN())));
  EXPECT_FALSE(readsRequest({}));
}

TEST(WorkerProtocol, ReadsEveryFieldOfAProbeBack) {
  const auto read = probeFromMap(probeToMap(someProbe()));
  ASSERT_TRUE(read);
  // The map names every field, so equal maps are equal probes.
  EXPECT_EQ(probeToMap(*read), probeToMap(someProbe()));
  EXPECT_EQ(read->creationDate, -1'500'000);
  EXPECT_EQ(read->mediaSubtypes, 0x20008U);
  EXPECT_EQ(read->embeddedMovieOffset, 5'000'000'000);
}

TEST(WorkerProtocol, ReadsAProbeWithoutADateBack) {
  MediaProbe probe = someProbe();
  probe.creationDate.reset();
  const auto read = probeFromMap(probeToMap(probe));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->creationDate, std::nullopt);
}

TEST(WorkerProtocol, NeedsEveryKeyOfAProbeButTheDate) {
  MediaProbe probe = someProbe();
  EXPECT_FALSE(readsProbe(with(probeToMap(probe), "creationDate", 1.5)));
  probe.creationDate.reset();
  expectEveryKeyNeeded(probeToMap(probe), readsProbe);
}

TEST(WorkerProtocol, RefusesProbesOutOfRange) {
  const Map probe = probeToMap(someProbe());
  EXPECT_FALSE(readsProbe(with(probe, "orientation", 0)));
  EXPECT_FALSE(readsProbe(with(probe, "orientation", 9)));
  EXPECT_FALSE(readsProbe(with(probe, "pixelWidth", -1)));
  EXPECT_FALSE(readsProbe(with(probe, "duration", kInfinity)));
  EXPECT_FALSE(readsProbe(with(probe, "frameRate", -1.0)));
  EXPECT_FALSE(readsProbe(with(probe, "embeddedMovieOffset", -1)));
  EXPECT_FALSE(readsProbe(with(probe, "pixelWidth", kMaximumPixelCount + 1)));
  EXPECT_FALSE(readsProbe(with(probe, "duration", 2e9)));
  EXPECT_FALSE(readsProbe(with(probe, "burstIdentifier", std::string(2000, 'x'))));
}

TEST(WorkerProtocol, ReadsALayoutBack) {
  const PixelLayout layout{4032, 3024, 3};
  EXPECT_EQ(layoutFromMap(layoutToMap(layout)), layout);
  EXPECT_EQ(layout.byteCount(), 36'578'304U);
  expectEveryKeyNeeded(layoutToMap(layout), readsLayout);
}

TEST(WorkerProtocol, RefusesLayoutsOutOfRange) {
  EXPECT_FALSE(readsLayout(layoutToMap({0, 1, 3})));
  EXPECT_FALSE(readsLayout(layoutToMap({1, -1, 3})));
  EXPECT_FALSE(readsLayout(layoutToMap({1, 1, 2})));
  EXPECT_FALSE(readsLayout(layoutToMap({1, 1, 5})));
  EXPECT_TRUE(readsLayout(layoutToMap({kMaximumPixelCount, 1, 3})));
  EXPECT_FALSE(readsLayout(layoutToMap({kMaximumPixelCount / 2 + 1, 2, 3})));
}

TEST(WorkerProtocol, ReadsBackHowMuchMemoryIsAllowedAndNeeded) {
  const Map request = withMemory(requestToMap(ProbeRequest{"a.png"}), 1 << 20);
  EXPECT_EQ(memoryFromMap(request), 1 << 20);
  EXPECT_TRUE(requestFromMap(request));
  EXPECT_EQ(memoryFromMap(requestToMap(ProbeRequest{"a.png"})), std::nullopt);
  EXPECT_EQ(needFromMap(needToMap(5)), 5);
  for (const std::int64_t bytes :
       {std::int64_t{0}, std::int64_t{-1}, (std::int64_t{1} << 50) + 1}) {
    EXPECT_EQ(needFromMap(needToMap(bytes)), std::nullopt) << bytes;
  }
}

TEST(WorkerProtocol, ReadsAnErrorBack) {
  const Failure error = Failure(LibraryErrorCode::invalidResource, "The file is empty.");
  const auto read = errorFromMap(errorToMap(error));
  ASSERT_TRUE(read);
  EXPECT_EQ(*read, error);
  EXPECT_EQ(read->code, 3302);
  EXPECT_EQ(read->reason, "The file is empty.");
}

TEST(WorkerProtocol, ReadsADescriptionBack) {
  const WorkerDescription description{
      {{"files", ""}, {"calls", "not here"}}, {{"libvips", "8.14.1"}}, {"openat"}};
  EXPECT_EQ(descriptionFromMap(descriptionToMap(description)), description);
  EXPECT_FALSE(descriptionFromMap({}));
  EXPECT_FALSE(descriptionFromMap(with(descriptionToMap(description), "layers", List{"files"})));
  EXPECT_FALSE(descriptionFromMap(with(descriptionToMap(description), "refusedCalls", List{1})));
  EXPECT_TRUE(requestFromMap(requestToMap(DescribeRequest())));
}

TEST(WorkerProtocol, TakesNoOtherReplyForAnError) {
  EXPECT_FALSE(errorFromMap({}));
  EXPECT_FALSE(errorFromMap(layoutToMap({1, 1, 3})));
  EXPECT_FALSE(errorFromMap({{"error", ""}, {"code", 3302}}));
  EXPECT_FALSE(errorFromMap({{"error", "The file is empty."}}));
  EXPECT_FALSE(errorFromMap({{"error", "The file is empty."}, {"code", 1}}));
  EXPECT_FALSE(errorFromMap({{"error", "The file\nis empty."}, {"code", 3302}}));
  EXPECT_FALSE(errorFromMap({{"error", std::string(2000, 'x')}, {"code", 3302}}));
}

}  // namespace
}  // namespace quorvin
