#include "media_worker/serve.h"

#include <exception>
#include <utility>
#include <variant>

#include "codec/standard_message_codec.h"
#include "media_worker/encode.h"
#include "media_worker/libraries.h"
#include "media_worker/limits.h"
#include "media_worker/probe.h"
#include "media_worker/render.h"
#include "platform_linux/media/worker_protocol.h"

namespace quorvin {

namespace {

WorkerReply failure(const NSError& error) {
  return {errorToMap(error), {}};
}

WorkerReply perform(const ProbeRequest& request, int fd) {
  const auto probe = probeFile(fd, request.name);
  return probe ? WorkerReply{probeToMap(*probe), {}} : failure(probe.error());
}

WorkerReply perform(const RenderRequest& request, int fd) {
  auto pixels = renderFile(fd, request);
  if (!pixels) return failure(pixels.error());
  return {layoutToMap(pixels->layout), std::move(pixels->memory)};
}

WorkerReply perform(const EncodeRequest& request, int fd) {
  auto encoded = encodePixels(fd, request);
  return encoded ? WorkerReply{{}, *std::move(encoded)} : failure(encoded.error());
}

WorkerReply answerRequest(const Packet& packet) {
  const auto message = decodeMessage(packet.bytes);
  const Map* map = message ? message->as<Map>() : nullptr;
  const auto request = map == nullptr ? std::nullopt : requestFromMap(*map);
  if (!request || !packet.descriptor) {
    return failure(workerError(LibraryErrorCode::internal, "The request is malformed."));
  }
  return std::visit([fd = packet.descriptor.get()](const auto& each) { return perform(each, fd); },
                    *request);
}

}  // namespace

WorkerReply answer(const Packet& request) {
  try {
    return answerRequest(request);
  } catch (const std::bad_alloc&) {
    return failure(workerError(LibraryErrorCode::internal, "Memory ran out."));
  } catch (const std::exception&) {
    return failure(workerError(LibraryErrorCode::invalidResource, "The file cannot be read."));
  }
}

void serve(int socket) {
  while (auto packet = receivePacket(socket)) {
    renewTimeLimit();
    const WorkerReply reply = answer(*packet);
    if (!sendPacket(socket, encodeMessage(reply.map), reply.memory ? reply.memory.get() : -1)) {
      return;
    }
    packet.reset();
    tidyLibraries();
  }
}

}  // namespace quorvin
