// Requests and their answers.
#pragma once

#include <vector>

#include "core/platform/value.h"
#include "media_protocol/packet_socket.h"
#include "media_worker/export/export.h"
#include "media_worker/sandbox/sandbox.h"
#include "posix/file_descriptor.h"

namespace quorvin {

struct WorkerReply {
  Map map;
  FileDescriptor memory;  ///< none unless the reply has pixels or encoded bytes
};

/// What the request asks for, or the error that stands in its place; throws nothing. `progress` is
/// called while an export goes on.
WorkerReply answer(
    const Packet& request, const ExportProgress& progress = [](std::int64_t) {},
    const std::vector<SandboxLayer>& isolation = {});

/// Answers the requests that arrive at the socket, one after another, until its other end is
/// closed or a reply cannot be sent. `startLibraries` was called before; `isolation` is what it
/// tells of itself.
void serve(int socket, const std::vector<SandboxLayer>& isolation);

}  // namespace quorvin
