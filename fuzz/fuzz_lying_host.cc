// Serves a host that asks for anything, and sends any descriptors. Each request is answered, and
// whatever a worker of ours answers is believed by a host of ours.
#include <fcntl.h>
#include <fuzzer/FuzzedDataProvider.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "codec/standard_message_codec.h"
#include "fuzz/any_value.h"
#include "fuzz/memory_file.h"
#include "fuzz/require.h"
#include "media_protocol/wire.h"
#include "media_worker/render/encode.h"
#include "media_worker/serve.h"
#include "platform_linux/media/worker_replies.h"
#include "tests/hostile/hostile_movies.h"

namespace quorvin {
namespace {

constexpr PixelLayout kPixels{8, 6, 3, 0};

FileDescriptor pixels() {
  FileDescriptor memory = makeMemoryFile(kPixels.byteCount());
  require(memory && sealMemoryFile(memory), "there are pixels");
  return memory;
}

Bytes picture(ImageFormat format) {
  const auto encoded = encodePixels(pixels().get(), {format, 1, kPixels});
  require(static_cast<bool>(encoded), "there is a picture");
  Bytes bytes(sealedMemorySize(encoded->get()).value());
  require(
      ::pread(encoded->get(), bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()),
      "it can be read");
  return bytes;
}

/// Media files of a few bytes: what a host sends is its own file's, not its own lie.
FileDescriptor file(int kind) {
  static const std::array<Bytes, 4> files = {picture(ImageFormat::jpeg), picture(ImageFormat::png),
                                             movieOf({.width = kPixels.width,
                                                      .height = kPixels.height,
                                                      .sample = picture(ImageFormat::png),
                                                      .samples = 3,
                                                      .places = 3}),
                                             Bytes{'t', 'e', 'x', 't'}};
  return memoryFile(files.at(static_cast<std::size_t>(kind)));
}

FileDescriptor anyDescriptor(FuzzedDataProvider& data) {
  const int kind = data.ConsumeIntegralInRange(0, 9);
  switch (kind) {
    case 4:
      return pixels();
    case 5:
      return memoryFile(data.ConsumeBytes<std::uint8_t>(200));
    case 6:
      return FileDescriptor(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    case 7:
      return FileDescriptor(::open("/dev/null", O_RDWR | O_CLOEXEC));
    case 8:
      return FileDescriptor(::open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
    case 9:
      return {};
    default:
      return file(kind);
  }
}

std::string anyName(FuzzedDataProvider& data) {
  std::string name = data.ConsumeRandomLengthString(16);
  for (char& each : name) each = static_cast<char>(each & 0x7f);
  return name;
}

template <class Number>
Number anyEnumerator(FuzzedDataProvider& data, int least, int most) {
  return static_cast<Number>(data.ConsumeIntegralInRange(least, most));
}

double anySide(FuzzedDataProvider& data) {
  constexpr double kOdd[] = {-1, 0, 0.3, 1e300, std::numeric_limits<double>::infinity(), 16, 100};
  return data.ConsumeBool() ? data.PickValueInArray(kOdd) : data.ConsumeFloatingPoint<double>();
}

WorkerRequest anyRender(FuzzedDataProvider& data) {
  RenderRequest request;
  request.kind = anyEnumerator<MediaKind>(data, 0, 4);
  request.targetWidth = anySide(data);
  request.targetHeight = anySide(data);
  request.fit = anyEnumerator<RenderRequest::Fit>(data, 0, 3);
  request.crop = data.ConsumeBool();
  request.failOnDamage = data.ConsumeBool();
  request.keepProfile = data.ConsumeBool();
  request.previewAlone = data.ConsumeBool();
  return request;
}

WorkerRequest anyEncoding(FuzzedDataProvider& data) {
  PixelLayout layout = kPixels;
  if (data.ConsumeBool()) {
    layout.width = data.ConsumeIntegral<std::int64_t>();
    layout.height = data.ConsumeIntegral<std::int64_t>();
    layout.profileSize = data.ConsumeIntegralInRange<std::int64_t>(-1, 300);
  } else if (data.ConsumeBool()) {
    // The same bytes told otherwise; the last ones as a profile.
    layout = {8, 4, 4, 16};
  }
  return EncodeRequest{anyEnumerator<ImageFormat>(data, 0, 3), data.ConsumeFloatingPoint<double>(),
                       layout};
}

WorkerRequest anyExport(FuzzedDataProvider& data) {
  VideoExportRequest request;
  request.preset = anyEnumerator<VideoPreset>(data, 0, 4);
  request.container = anyEnumerator<VideoContainer>(data, 0, 3);
  request.indexFirst = data.ConsumeBool();
  for (int left = data.ConsumeIntegralInRange(0, 3); left > 0; --left) {
    const auto time = [&data] {
      return std::chrono::nanoseconds(
          data.ConsumeBool() ? data.ConsumeIntegralInRange<std::int64_t>(0, 400'000'000)
                             : data.ConsumeIntegral<std::int64_t>());
    };
    request.timeMap.push_back({time(), time(), time()});
  }
  return request;
}

WorkerRequest anyXmp(FuzzedDataProvider& data) {
  WriteXmpRequest request;
  request.notes = {.kind = SideKind::xmp, .title = anyName(data), .favorite = data.ConsumeBool()};
  if (data.ConsumeBool()) request.creationDate = data.ConsumeIntegral<std::int64_t>();
  if (data.ConsumeBool()) {
    request.notes.exported =
        ExportedNotes{.parts = {{data.ConsumeIntegral<std::int64_t>(), anyName(data)}},
                      .albums = {anyName(data)},
                      .modified = data.ConsumeIntegral<std::int64_t>(),
                      .burstIdentifier = anyName(data)};
  }
  return request;
}

WorkerRequest anyRequest(FuzzedDataProvider& data) {
  switch (data.ConsumeIntegralInRange(0, 6)) {
    case 0:
      return ProbeRequest{anyName(data)};
    case 1:
      return anyRender(data);
    case 2:
      return anyEncoding(data);
    case 3:
      return ExportContainersRequest{anyEnumerator<VideoPreset>(data, 0, 4)};
    case 4:
      return anyExport(data);
    case 5:
      return anyXmp(data);
    default:
      return DescribeRequest();
  }
}

/// A request, mostly such as there are; with some key that says something else; or anything.
Bytes anyMessage(FuzzedDataProvider& data) {
  const int way = data.ConsumeIntegralInRange(0, 7);
  if (way == 0) {
    Bytes bytes = data.ConsumeBytes<std::uint8_t>(data.ConsumeIntegralInRange(0, 300));
    // An empty packet is the end.
    bytes.push_back(0);
    return bytes;
  }
  Map map = requestToMap(anyRequest(data));
  if (way == 1) {
    const auto place = data.ConsumeIntegralInRange<std::size_t>(0, map.size() - 1);
    map[place].second = anyValue(data, 2);
  }
  return encodeMessage(map);
}

/// What a host of ours makes of the reply to its request.
bool isBelieved(const WorkerRequest& request, const Map& map, FileDescriptor memory) {
  if (std::holds_alternative<ProbeRequest>(request)) {
    return probeReply(map, std::move(memory)).has_value();
  }
  if (const auto* render = std::get_if<RenderRequest>(&request)) {
    return imageReply(*render, map, std::move(memory)).has_value();
  }
  if (const auto* encoding = std::get_if<EncodeRequest>(&request)) {
    return bytesReply(encoding->layout.byteCount(), map, std::move(memory)).has_value();
  }
  if (std::holds_alternative<ExportContainersRequest>(request)) {
    return containersReply(map, std::move(memory)).has_value();
  }
  if (std::holds_alternative<VideoExportRequest>(request)) {
    return exportDoneReply(map, std::move(memory)).has_value();
  }
  if (std::holds_alternative<WriteXmpRequest>(request)) {
    return bytesReply(0, map, std::move(memory)).has_value();
  }
  return descriptionReply(map, std::move(memory)).has_value();
}

void checkReply(std::span<const std::uint8_t> message, Packet reply) {
  const auto value = decodeMessage(reply.bytes);
  const Map* map = value ? value->as<Map>() : nullptr;
  require(map != nullptr, "a reply is a map");
  if (errorFromMap(*map)) return;
  const auto asked = decodeMessage(message);
  const auto request =
      asked && asked->as<Map>() != nullptr ? requestFromMap(*asked->as<Map>()) : std::nullopt;
  require(request.has_value(), "what makes no sense is an error");
  require(isBelieved(*request, *map, std::move(reply.descriptor)), "a reply is believed");
}

void converse(FuzzedDataProvider& data) {
  int ends[2];
  require(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0, "there is a socket");
  const FileDescriptor host(ends[0]);
  FileDescriptor worker(ends[1]);
  std::vector<Bytes> messages;
  for (int left = data.ConsumeIntegralInRange(1, 3); left > 0; --left) {
    const Bytes& message = messages.emplace_back(anyMessage(data));
    std::vector<FileDescriptor> given;
    std::vector<int> descriptors;
    for (int i = data.ConsumeIntegralInRange(0, 2); i > 0; --i) {
      given.push_back(anyDescriptor(data));
      if (given.back()) descriptors.push_back(given.back().get());
    }
    require(sendPacket(host.get(), message, descriptors), "a request is sent");
  }
  ::shutdown(host.get(), SHUT_WR);
  serve(worker.get(), {});
  worker = {};
  for (const Bytes& message : messages) {
    auto reply = receivePacket(host.get());
    require(reply.has_value(), "each request is answered");
    checkReply(message, *std::move(reply));
  }
  require(!receivePacket(host.get()), "each request is answered once");
}

}  // namespace
}  // namespace quorvin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider provider(data, size);
  quorvin::converse(provider);
  return 0;
}
