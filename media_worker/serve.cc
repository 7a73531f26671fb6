#include "media_worker/serve.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <limits>
#include <span>
#include <utility>
#include <variant>

#include "codec/standard_message_codec.h"
#include "media_protocol/wire.h"
#include "media_worker/export/export.h"
#include "media_worker/libraries.h"
#include "media_worker/limits.h"
#include "media_worker/probe/probe.h"
#include "media_worker/reading/decoding_memory.h"
#include "media_worker/render/encode.h"
#include "media_worker/render/render.h"
#include "media_worker/side/xmp_writer.h"

namespace quorvin {

namespace {

WorkerReply failure(const Failure& error) {
  return {errorToMap(error), {}};
}

/// What came with a request.
struct Given {
  int file;    ///< -1 when there is none
  int output;  ///< -1 when there is none
  const ExportProgress& progress;
  const std::vector<SandboxLayer>& isolation;
};

WorkerReply malformed() {
  return failure(Failure(LibraryErrorCode::internal, "the request is malformed."));
}

WorkerReply perform(const ProbeRequest& request, const Given& given) {
  const auto probe = probeFile(given.file, request.name);
  return probe ? WorkerReply{probeToMap(*probe), {}} : failure(probe.error());
}

WorkerReply perform(const RenderRequest& request, const Given& given) {
  auto pixels = renderFile(given.file, request);
  if (!pixels) return failure(pixels.error());
  return {layoutToMap(pixels->layout), std::move(pixels->memory)};
}

WorkerReply perform(const EncodeRequest& request, const Given& given) {
  auto encoded = encodePixels(given.file, request);
  return encoded ? WorkerReply{{}, *std::move(encoded)} : failure(encoded.error());
}

WorkerReply perform(const ExportContainersRequest& request, const Given& given) {
  const auto containers = exportContainers(given.file, request.preset);
  return containers ? WorkerReply{containersToMap(*containers), {}} : failure(containers.error());
}

WorkerReply perform(const VideoExportRequest& request, const Given& given) {
  if (given.output < 0) return malformed();
  const auto error = exportVideo(given.file, given.output, request, given.progress);
  return error ? failure(*error) : WorkerReply{exportDoneToMap(), {}};
}

WorkerReply perform(const WriteXmpRequest& request, const Given& given) {
  auto packet = writeXmpFile(given.file, request);
  return packet ? WorkerReply{{}, *std::move(packet)} : failure(packet.error());
}

WorkerReply perform(const DescribeRequest&, const Given& given) {
  WorkerDescription description;
  for (const SandboxLayer& each : given.isolation) {
    description.layers.push_back({each.name, each.whyAbsent});
  }
  description.libraries = libraryVersions();
  description.refusedCalls = refusedSystemCalls();
  return {descriptionToMap(description), {}};
}

/// Tells the other end now and then that the request is being worked on.
class ProgressTeller {
 public:
  explicit ProgressTeller(int socket) : socket_(socket) {}

  void tell(std::int64_t bytes) {
    constexpr std::chrono::milliseconds kInterval(500);
    bytes_ += bytes;
    const auto now = std::chrono::steady_clock::now();
    if (now - told_ < kInterval) return;
    told_ = now;
    renewTimeLimit();
    // Without anybody to send it to, there is nobody to go on for.
    if (!sendPacket(socket_, encodeMessage(progressToMap(bytes_)))) {
      ::_exit(EXIT_FAILURE);
    }
  }

 private:
  const int socket_;
  std::int64_t bytes_ = 0;
  std::chrono::steady_clock::time_point told_ = std::chrono::steady_clock::now();
};

WorkerReply answerRequest(const Packet& packet, const ExportProgress& progress,
                          const std::vector<SandboxLayer>& isolation) {
  const auto message = decodeMessage(packet.bytes);
  const Map* map = message ? message->as<Map>() : nullptr;
  const auto request = map == nullptr ? std::nullopt : requestFromMap(*map);
  const auto memory = map == nullptr ? std::nullopt : memoryFromMap(*map);
  const MemoryAllowance allowance(memory.value_or(std::numeric_limits<std::int64_t>::max()));
  const bool needsFile = request && !std::holds_alternative<DescribeRequest>(*request) &&
                         !std::holds_alternative<WriteXmpRequest>(*request);
  if (!request || (needsFile && !packet.descriptor)) return malformed();
  const Given given{packet.descriptor.get(), packet.secondDescriptor.get(), progress, isolation};
  return std::visit([&given](const auto& each) { return perform(each, given); }, *request);
}

}  // namespace

WorkerReply answer(const Packet& request, const ExportProgress& progress,
                   const std::vector<SandboxLayer>& isolation) {
  try {
    return answerRequest(request, progress, isolation);
  } catch (const MoreMemoryNeeded& needed) {
    return {needToMap(needed.bytes), {}};
  } catch (const std::bad_alloc&) {
    return failure(Failure(LibraryErrorCode::internal, "memory ran out."));
  } catch (const std::exception&) {
    return failure(Failure(LibraryErrorCode::invalidResource, "the file cannot be read."));
  }
}

void serve(int socket, const std::vector<SandboxLayer>& isolation) {
  while (auto packet = receivePacket(socket)) {
    renewTimeLimit();
    ProgressTeller teller(socket);
    const WorkerReply reply = answer(
        *packet, [&teller](std::int64_t bytes) { teller.tell(bytes); }, isolation);
    const int memory = reply.memory.get();
    const std::span<const int> descriptors(&memory, reply.memory ? 1 : 0);
    if (!sendPacket(socket, encodeMessage(reply.map), descriptors)) return;
    packet.reset();
    if (!tidyLibraries()) return;
  }
}

}  // namespace quorvin
