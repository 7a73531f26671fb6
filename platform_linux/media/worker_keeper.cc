#include "platform_linux/media/worker_keeper.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform_linux/dispatch/background_thread.h"

namespace quorvin {

namespace {

/// What a worker that was told that there is no more to do may take to end by itself.
constexpr std::chrono::seconds kFarewell(1);

}  // namespace

WorkerKeeper::WorkerKeeper(std::string program, std::chrono::milliseconds idleTimeLimit)
    : program_(std::move(program)),
      idleTimeLimit_(idleTimeLimit),
      environment_(WorkerProcess::environmentOfNow()),
      thread_(startThread("quorvin-media", [this] { run(); })) {}

std::unique_ptr<WorkerProcess> WorkerKeeper::takeIdle(WorkerProcess::Kind kind) {
  const NSLockHolder held(lock_);
  const auto last = std::find_if(idle_.rbegin(), idle_.rend(), [kind](const IdleWorker& each) {
    return each.process->kind() == kind;
  });
  if (last == idle_.rend()) return nullptr;
  std::unique_ptr<WorkerProcess> process = std::move(last->process);
  idle_.erase(std::next(last).base());
  busy_.push_back(process.get());
  return process;
}

WorkerKeeper::Started WorkerKeeper::start(WorkerProcess::Kind kind, Clock::time_point deadline,
                                          std::int64_t memory) {
  if (!thread_.joinable()) {
    return Failure(LibraryErrorCode::internal, "the system has no thread to spare.");
  }
  StartOrder order{.kind = kind, .memory = memory};
  const NSLockHolder held(lock_);
  if (auto refusal = waitForPause(deadline)) return *std::move(refusal);
  if (closed_) return closedError();
  pause_.started(Clock::now());
  orders_.push_back(&order);
  duty_.signal();
  while (!order.started) order.done.wait(lock_);
  return *std::move(order.started);
}

std::optional<Failure> WorkerKeeper::waitForPause(Clock::time_point deadline) {
  while (!closed_ && Clock::now() < pause_.end()) {
    if (pause_.isHopeless() || pause_.end() > deadline) {
      return Failure(LibraryErrorCode::internal,
                     "the media worker program \"" + program_ +
                         "\" cannot be started: it ended again and again before it answered.");
    }
    pauseOver_.waitUntil(lock_, pause_.end());
  }
  return std::nullopt;
}

// One that is not kept is ended and reaped after the lock is free, here and below.
void WorkerKeeper::keep(std::unique_ptr<WorkerProcess> process) {
  const NSLockHolder held(lock_);
  std::erase(busy_, process.get());
  pause_.succeeded();
  pauseOver_.broadcast();
  if (closed_ || process->hasServedItsTime()) return;
  idle_.push_back({std::move(process), Clock::now()});
  if (rests_) duty_.signal();
}

void WorkerKeeper::giveUp(std::unique_ptr<WorkerProcess> process, End end) {
  const NSLockHolder held(lock_);
  std::erase(busy_, process.get());
  if (end != End::unreliable) pause_.died(Clock::now(), end == End::notStarted);
}

void WorkerKeeper::run() {
  for (;;) {
    const Duty duty = waitForDuty();
    if (duty.start == nullptr && duty.end == nullptr) return;
    if (duty.start == nullptr) continue;
    Started started =
        WorkerProcess::start(program_, duty.start->kind, duty.start->memory, environment_);
    const NSLockHolder held(lock_);
    if (closed_) started = closedError();
    if (started) busy_.push_back(started->get());
    duty.start->started = std::move(started);
    duty.start->done.signal();
  }
}

WorkerKeeper::Duty WorkerKeeper::waitForDuty() {
  const NSLockHolder held(lock_);
  for (;;) {
    if (!orders_.empty()) {
      StartOrder* order = orders_.front();
      orders_.pop_front();
      return {order, nullptr};
    }
    if (ends_) return {};
    if (idle_.empty()) {
      rests_ = true;
      duty_.wait(lock_);
      rests_ = false;
      continue;
    }
    const auto endTime = idle_.front().since + idleTimeLimit_;
    if (Clock::now() < endTime) {
      duty_.waitUntil(lock_, endTime);
      continue;
    }
    Duty duty{nullptr, std::move(idle_.front().process)};
    idle_.pop_front();
    return duty;
  }
}

void WorkerKeeper::close() {
  const NSLockHolder held(lock_);
  closed_ = true;
  leaving_ = std::exchange(idle_, {});
  for (const WorkerProcess* each : busy_) each->kill();
  pauseOver_.broadcast();
}

void WorkerKeeper::shutDown() {
  std::deque<IdleWorker> idle;
  {
    const NSLockHolder held(lock_);
    idle = std::exchange(leaving_, {});
  }
  // All at the same time, so that together they take no longer than one.
  for (const IdleWorker& each : idle) each.process->hangUp();
  const auto deadline = Clock::now() + kFarewell;
  for (const IdleWorker& each : idle) each.process->waitForEnd(deadline);
  {
    // Last, for workers end with the thread that started them.
    const NSLockHolder held(lock_);
    ends_ = true;
    duty_.signal();
  }
  if (thread_.joinable()) thread_.join();
}

Failure WorkerKeeper::closedError() {
  return Failure(LibraryErrorCode::operationInterrupted, "the photo library is being closed.");
}

}  // namespace quorvin
