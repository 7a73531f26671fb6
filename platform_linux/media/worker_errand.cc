#include "platform_linux/media/worker_errand.h"

#include <sys/stat.h>

#include <algorithm>
#include <optional>

#include "codec/standard_message_codec.h"
#include "media_protocol/wire.h"

namespace quorvin {

namespace {

using Clock = WorkerProcess::Clock;
using Outcome = WorkerProcess::Outcome;

std::optional<std::int64_t> progressOf(const Packet& packet) {
  const std::optional<Value> value = decodeMessage(packet.bytes);
  const Map* map = value ? value->as<Map>() : nullptr;
  return map == nullptr ? std::nullopt : progressFromMap(*map);
}

/// How far an export has to get to have got on, in bytes: so that one that only says so ends.
std::int64_t stepOf(int source) {
  constexpr std::int64_t kLeast = 1024;
  constexpr std::int64_t kSteps = 100'000;
  struct stat status = {};
  return ::fstat(source, &status) == 0 ? std::max(kLeast, status.st_size / kSteps) : kLeast;
}

Outcome carryOutExport(const WorkerErrand& errand, WorkerProcess& worker,
                       std::chrono::milliseconds stepLimit, Packet& reply) {
  auto deadline = Clock::now() + stepLimit;
  const std::stop_callback stopped(errand.stop, [&worker] { worker.kill(); });
  auto outcome = worker.exchange(errand.message, errand.descriptors, deadline, reply);
  const std::int64_t step = errand.descriptors.empty() ? 0 : stepOf(errand.descriptors.front());
  std::int64_t done = 0;
  while (outcome == Outcome::answered) {
    const auto progress = progressOf(reply);
    if (!progress) break;
    const auto now = Clock::now();
    if (*progress - done >= step) {
      done = *progress;
      deadline = now + stepLimit;
    }
    if (now >= deadline) return Outcome::late;
    outcome = worker.waitForMore(deadline, reply);
  }
  return outcome;
}

}  // namespace

Outcome carryOut(const WorkerErrand& errand, WorkerProcess& worker, const ErrandLimits& limits,
                 Packet& reply) {
  if (errand.lane == WorkerLane::exports) return carryOutExport(errand, worker, limits.time, reply);
  const auto begin = Clock::now();
  const auto deadline = begin + limits.time;
  const auto firstDeadline = std::min(deadline, begin + limits.cancelled);
  const auto outcome = worker.exchange(errand.message, errand.descriptors, firstDeadline, reply);
  if (outcome != Outcome::late) return outcome;
  const std::stop_callback stopped(errand.stop, [&worker] { worker.kill(); });
  return worker.waitForMore(deadline, reply);
}

}  // namespace quorvin
