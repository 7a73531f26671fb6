// One request's way to a worker and back.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <stop_token>
#include <vector>

#include "media_protocol/packet_socket.h"
#include "platform_linux/media/worker_lane.h"
#include "platform_linux/media/worker_process.h"

namespace quorvin {

/// What goes to a worker.
struct WorkerErrand {
  std::vector<std::uint8_t> message;
  std::span<const int> descriptors;
  WorkerLane lane = WorkerLane::chores;
  std::stop_token stop;
  std::int64_t memory = 0;  ///< that the worker is to be made for; bytes
};

struct ErrandLimits {
  std::chrono::milliseconds time;       ///< of the whole, of an export for each step
  std::chrono::milliseconds cancelled;  ///< of one that is not wanted any more; none for an export
};

/// Sends the errand and waits for its final reply. Comes out as `ended` when it was stopped.
WorkerProcess::Outcome carryOut(const WorkerErrand& errand, WorkerProcess& worker,
                                const ErrandLimits& limits, Packet& reply);

}  // namespace quorvin
