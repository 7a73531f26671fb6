#include "media_worker/serve.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <thread>
#include <utility>

#include "codec/standard_message_codec.h"
#include "media_protocol/sealed_memory.h"
#include "media_protocol/wire.h"
#include "testing/media/coded_films.h"
#include "testing/media/probes.h"
#include "testing/media/renderings.h"

namespace quorvin {
namespace {

Packet packetOf(const Value& message, FileDescriptor file) {
  return {encodeMessage(message), std::move(file), {}};
}

std::string reasonFor(const Packet& packet) {
  const auto error = errorFromMap(answer(packet).map);
  return error ? error->sentence() : std::string();
}

TEST(Answer, RendersWithPixels) {
  const WorkerReply reply =
      answer(packetOf(requestToMap(fitInto(48, 48)), fileOf(saved(quadrants(96, 64), ".png"))));
  EXPECT_EQ(layoutFromMap(reply.map), (PixelLayout{48, 32, 3}));
  EXPECT_EQ(sealedMemorySize(reply.memory.get()), 48U * 32 * 3);
}

TEST(Answer, EncodesWithBytes) {
  FileDescriptor pixels = fileOf(quadrants(96, 64).pixels);
  ASSERT_TRUE(sealMemoryFile(pixels));
  const WorkerReply reply = answer(
      packetOf(requestToMap(EncodeRequest{ImageFormat::png, 1, {96, 64, 3}}), std::move(pixels)));
  EXPECT_TRUE(reply.map.empty());
  EXPECT_EQ(rendered(contents(reply.memory), original()).pixels, quadrants(96, 64).pixels);
}

TEST(Answer, ProbesWithAMap) {
  const WorkerReply reply = answer(
      packetOf(requestToMap(ProbeRequest{"a.png"}), fileOf(saved(quadrants(96, 64), ".png"))));
  const auto probe = probeFromMap(reply.map);
  ASSERT_TRUE(probe);
  EXPECT_EQ(probe->uniformTypeIdentifier, "public.png");
  EXPECT_EQ(probe->pixelWidth, 96);
  EXPECT_FALSE(reply.memory);
}

TEST(Answer, WritesXmpWithAndWithoutAPacketToBeginWith) {
  WriteXmpRequest request;
  request.notes.kind = SideKind::xmp;
  request.notes.favorite = true;
  const WorkerReply first = answer(packetOf(requestToMap(request), {}));
  EXPECT_TRUE(first.map.empty());
  EXPECT_TRUE(probed(contents(first.memory), "a.xmp").notes.favorite);
  request.creationDate = 5;
  const WorkerReply second =
      answer(packetOf(requestToMap(request), fileOf(contents(first.memory))));
  EXPECT_EQ(probed(contents(second.memory), "a.xmp").creationDate, 5);
  EXPECT_EQ(reasonFor(packetOf(requestToMap(request), fileOf(bytesOf("hello")))),
            "The XMP side file is damaged.");
}

TEST(Answer, ExportsIntoTheSecondDescriptor) {
  const Bytes film = video({filled(64, 64, kRed), filled(64, 64, kBlue)});
  FileDescriptor output = makeMemoryFile(0);
  const FileDescriptor kept(::dup(output.get()));
  const Packet request{encodeMessage(requestToMap(VideoExportRequest{})), fileOf(film),
                       std::move(output)};
  std::int64_t handled = 0;
  const WorkerReply reply = answer(request, [&handled](std::int64_t bytes) { handled += bytes; });
  const auto error = errorFromMap(reply.map);
  ASSERT_FALSE(error) << error->sentence();
  EXPECT_TRUE(isExportDone(reply.map));
  EXPECT_GE(handled, static_cast<std::int64_t>(film.size()) / 2);
  RenderRequest poster = original();
  poster.kind = MediaKind::video;
  EXPECT_TRUE(isNear(rendered(contents(kept), poster).at(32, 32), kRed, 30));
}

TEST(Answer, TellsTheContainersOfAnExport) {
  const WorkerReply reply = answer(
      packetOf(requestToMap(ExportContainersRequest{}), fileOf(video({filled(64, 64, kRed)}))));
  EXPECT_EQ(containersFromMap(reply.map),
            (std::vector{VideoContainer::quickTime, VideoContainer::mpeg4}));
}

TEST(Answer, RefusesAnExportWithoutAnOutput) {
  EXPECT_EQ(reasonFor(packetOf(requestToMap(VideoExportRequest{}), fileOf(Bytes{1}))),
            "The request is malformed.");
}

/// What the request needs that may take next to nothing, with the reply of one that may take that.
std::pair<std::int64_t, Map> needed(const WorkerRequest& request, const Bytes& file) {
  const Map map = requestToMap(request);
  const WorkerReply refusal = answer(packetOf(withMemory(map, 1), fileOf(file)));
  const std::int64_t need = needFromMap(refusal.map).value_or(0);
  EXPECT_FALSE(refusal.memory);
  return {need,
          answer(packetOf(withMemory(map, std::max<std::int64_t>(need, 1)), fileOf(file))).map};
}

/// Of so many bytes a pixel, and not much more than is so.
void expectNeeded(const Bytes& file, std::int64_t pixels, int bytes) {
  const auto [need, reply] = needed(original(), file);
  EXPECT_GE(need, pixels * bytes);
  EXPECT_LE(need, pixels * bytes * 3 / 2);
  EXPECT_TRUE(layoutFromMap(reply));
}

TEST(Answer, SaysHowMuchMemoryAPictureWouldTakeThatIsMoreThanAllowed) {
  for (const auto& [format, bytes] : {std::pair{".jpg", 6},
                                      {".jpg[interlace]", 12},
                                      {".png", 3},
                                      {".png[interlace]", 6},
                                      {".webp", 11},
                                      {".gif", 9},
                                      {".tif", 3}}) {
    SCOPED_TRACE(format);
    expectNeeded(saved(quadrants(96, 64), format), 96 * 64, bytes);
  }
  expectNeeded(smallHeic(), 64 * 48, 6);
  expectNeeded(smallMovie("-frames:v 1 -c:v bmp -f image2", "bmp"), 64 * 48, 12);
}

TEST(Answer, SaysHowMuchMemoryAFirstFrameWouldTakeThatIsMoreThanAllowed) {
  RenderRequest poster = original();
  poster.kind = MediaKind::video;
  const auto [need, reply] = needed(poster, video({filled(64, 64, kRed)}));
  EXPECT_EQ(need, 64 * 64 * 20);
  EXPECT_TRUE(layoutFromMap(reply));
}

TEST(Answer, AllowsEverythingWhereNothingIsSaid) {
  EXPECT_FALSE(needed(fitInto(48, 48), saved(quadrants(96, 64), ".png")).second.empty());
  EXPECT_TRUE(layoutFromMap(
      answer(packetOf(requestToMap(original()), fileOf(saved(quadrants(96, 64), ".png")))).map));
}

TEST(Answer, WritesNothingOfAnExportThatWouldTakeMoreMemoryThanAllowed) {
  FileDescriptor output = makeMemoryFile(0);
  const FileDescriptor kept(::dup(output.get()));
  const Map map = requestToMap(VideoExportRequest{.preset = VideoPreset::highestQuality});
  const WorkerReply reply = answer({encodeMessage(withMemory(map, 1)),
                                    fileOf(video({filled(64, 64, kRed)})), std::move(output)});
  EXPECT_GT(needFromMap(reply.map), 64 * 64 * 90);
  EXPECT_TRUE(contents(kept).empty());
}

TEST(Answer, RefusesWhatIsNoRequest) {
  const std::string malformed = "The request is malformed.";
  EXPECT_EQ(reasonFor({{}, fileOf(Bytes{1}), {}}), malformed);
  EXPECT_EQ(reasonFor({{0xff, 0xff}, fileOf(Bytes{1}), {}}), malformed);
  EXPECT_EQ(reasonFor(packetOf(Value(5), fileOf(Bytes{1}))), malformed);
  EXPECT_EQ(reasonFor(packetOf(Map{}, fileOf(Bytes{1}))), malformed);
  EXPECT_EQ(reasonFor(packetOf(requestToMap(fitInto(1, 1)), FileDescriptor())), malformed);
}

TEST(Answer, SaysWhyAFileDoesNotRender) {
  EXPECT_EQ(reasonFor(packetOf(requestToMap(fitInto(1, 1)), fileOf(Bytes{1, 2, 3}))),
            "The file is not a photo.");
}

TEST(Serve, AnswersOneRequestAfterAnotherUntilTheEnd) {
  std::array<int, 2> ends{-1, -1};
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
  FileDescriptor near(ends[0]);
  const FileDescriptor far(ends[1]);
  std::thread worker([&far] { serve(far.get(), {}); });
  const FileDescriptor picture = fileOf(saved(quadrants(96, 64), ".png"));
  const auto good = encodeMessage(requestToMap(fitInto(48, 48)));
  const std::vector<std::uint8_t> bad{0xff};
  for (const auto* request : {&good, &bad, &good}) {
    ASSERT_TRUE(sendPacket(near.get(), *request, std::array{picture.get()}));
    const auto reply = receivePacket(near.get());
    ASSERT_TRUE(reply);
    const auto map = decodeMessage(reply->bytes);
    ASSERT_TRUE(map && map->as<Map>());
    EXPECT_EQ(layoutFromMap(*map->as<Map>()).has_value(), request == &good);
  }
  near = FileDescriptor();
  worker.join();
}

}  // namespace
}  // namespace quorvin
