#include "platform_linux/media/media_worker_pool.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>
#include <utility>

#include "codec/standard_message_codec.h"
#include "codec/utf8.h"
#include "platform_linux/dispatch/background_thread.h"
#include "platform_linux/media/worker_replies.h"

namespace quorvin {

namespace {

/// What a worker that was told that there is no more to do may take to end by itself.
constexpr std::chrono::seconds kFarewell(1);

Failure interrupted(std::string_view sentence) {
  return Failure(LibraryErrorCode::operationInterrupted, sentence);
}

Failure shutDownError() {
  return interrupted("the photo library is being closed.");
}

Failure cancelledError() {
  return Failure(LibraryErrorCode::userCancelled, "the export was cancelled.");
}

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

std::string inSeconds(std::chrono::milliseconds time) {
  return std::to_string(std::chrono::ceil<std::chrono::seconds>(time).count()) + " s";
}

/// File names are any bytes; packets carry UTF-8 alone.
std::string asText(std::string name) {
  if (!isUtf8(name)) {
    std::ranges::replace_if(
        name, [](char c) { return static_cast<unsigned char>(c) >= 0x80; }, '?');
  }
  return name;
}

}  // namespace

std::size_t MediaWorkerOptions::sizeForThisMachine() {
  return std::clamp(std::thread::hardware_concurrency(), 1U, 4U);
}

/// One request's stay in the pool, with the worker that serves it.
class MediaWorkerPool::Turn {
 public:
  Turn(MediaWorkerPool& pool, TurnQueue& turns, const std::stop_token& stop)
      : pool_(pool), turns_(turns), entered_(turns.enter(stop)) {}
  ~Turn() {
    discard();
    if (entered_) turns_.leave();
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  /// False when the pool is shut down, or the request was stopped before its turn.
  bool entered() const { return entered_; }
  WorkerProcess* worker() const { return worker_.get(); }
  void use(std::unique_ptr<WorkerProcess> worker) { worker_ = std::move(worker); }
  /// The worker did well and may serve the next request, if it has not served many.
  void keep() {
    if (worker_->hasServedItsTime()) return;
    pool_.keepIdle(std::move(worker_));
  }
  /// The worker cannot be relied on.
  void discard() {
    if (!worker_) return;
    {
      const NSLockHolder held(pool_.lock_);
      pool_.forget(*worker_);
    }
    worker_.reset();
  }

 private:
  MediaWorkerPool& pool_;
  TurnQueue& turns_;
  const bool entered_;
  std::unique_ptr<WorkerProcess> worker_;
};

MediaWorkerPool::MediaWorkerPool(MediaWorkerOptions options)
    : options_(std::move(options)),
      environment_(WorkerProcess::environmentOfNow()),
      turns_{{TurnQueue(options_.size), TurnQueue(options_.size), TurnQueue(options_.size)}},
      keeper_(startThread("quorvin-media", [this] { keepWorkers(); })) {}

MediaWorkerPool::~MediaWorkerPool() {
  shutDown();
}

Result<MediaProbe> MediaWorkerPool::probe(const FileDescriptor& file, const std::string& name) {
  return ask<MediaProbe>(WorkerLane::chores, ProbeRequest{asText(name)}, file.get(), probeReply);
}

Result<std::shared_ptr<const RenderedImage>> MediaWorkerPool::render(const FileDescriptor& file,
                                                                     const RenderRequest& request) {
  return ask<std::shared_ptr<const RenderedImage>>(
      laneOf(request), request, file.get(), [&request](const Map& reply, FileDescriptor memory) {
        return imageReply(request, reply, std::move(memory));
      });
}

Result<ByteBuffer> MediaWorkerPool::encode(const RenderedImage& image, ImageFormat format,
                                           double quality) {
  const PixelLayout layout{image.width(), image.height(), image.channels(), image.profileSize()};
  return ask<ByteBuffer>(laneOf(layout), EncodeRequest{format, quality, layout}, image.fd(),
                         [&layout](const Map& reply, FileDescriptor memory) {
                           return bytesReply(layout.byteCount(), reply, std::move(memory));
                         });
}

Result<std::vector<VideoContainer>> MediaWorkerPool::exportContainers(const FileDescriptor& source,
                                                                      VideoPreset preset) {
  return ask<std::vector<VideoContainer>>(WorkerLane::chores, ExportContainersRequest{preset},
                                          source.get(), containersReply);
}

Done MediaWorkerPool::exportVideo(const FileDescriptor& source, const FileDescriptor& output,
                                  const VideoExportRequest& request, std::stop_token stop) {
  if (!isPlayable(request.timeMap)) {
    return Failure(LibraryErrorCode::requestNotSupportedForAsset,
                   "the video's changes of speed are too many or too great.");
  }
  const std::array descriptors{source.get(), output.get()};
  const auto done = run<bool>(
      {encodeMessage(requestToMap(request)), descriptors, WorkerLane::exports, std::move(stop)},
      exportDoneReply);
  return done ? Done(Null{}) : done.error();
}

Result<WorkerDescription> MediaWorkerPool::describe(WorkerProcess::Kind kind) {
  const WorkerLane lane =
      kind == WorkerProcess::Kind::exports ? WorkerLane::exports : WorkerLane::looks;
  return run<WorkerDescription>({encodeMessage(requestToMap(DescribeRequest())), {}, lane, {}},
                                descriptionReply);
}

template <class T>
Result<T> MediaWorkerPool::ask(WorkerLane lane, const WorkerRequest& request, int descriptor,
                               const ReplyReader<T>& read) {
  return run<T>({encodeMessage(requestToMap(request)), {&descriptor, 1}, lane, {}}, read);
}

template <class T>
Result<T> MediaWorkerPool::run(const Errand& errand, const ReplyReader<T>& read) {
  if (errand.message.size() > kMaximumPacketSize) {
    return Failure(LibraryErrorCode::invalidResource, "the file's name is too long.");
  }
  Turn turn(*this, turns_[static_cast<std::size_t>(errand.lane)], errand.stop);
  if (errand.stop.stop_requested()) return cancelledError();
  if (!turn.entered()) return shutDownError();
  Result<Packet> reply = exchange(turn, errand);
  if (!reply) return reply.error();

  const std::optional<Value> value = decodeMessage(reply->bytes);
  const Map* map = value ? value->as<Map>() : nullptr;
  if (map != nullptr) {
    std::optional<Failure> refusal = errorFromMap(*map);
    std::optional<T> result = refusal ? std::nullopt : read(*map, std::move(reply->descriptor));
    if (refusal || result) turn.keep();
    if (refusal) return *std::move(refusal);
    if (result) return *std::move(result);
  }
  return interrupted("the media worker gave an answer that makes no sense.");
}

Result<Packet> MediaWorkerPool::exchange(Turn& turn, const Errand& errand) {
  const auto kind = errand.lane == WorkerLane::exports ? WorkerProcess::Kind::exports
                                                       : WorkerProcess::Kind::pictures;
  turn.use(takeIdle(kind));
  // A worker that ended while it was idle has cost nobody's request: a fresh one gets it.
  for (bool fresh = turn.worker() == nullptr;; fresh = true) {
    if (fresh) {
      auto started = startWorker(kind);
      if (!started) return started.error();
      turn.use(*std::move(started));
    }
    Packet reply;
    const auto outcome = exchangeWith(*turn.worker(), errand, reply);
    if (outcome == WorkerProcess::Outcome::answered) return reply;
    turn.discard();
    if (errand.stop.stop_requested()) return cancelledError();
    if (outcome == WorkerProcess::Outcome::late) {
      return errand.lane == WorkerLane::exports
                 ? interrupted("the media worker did not get on for " +
                               inSeconds(options_.exportTimeLimit) + " and was ended.")
                 : interrupted("the media worker took longer than " +
                               inSeconds(options_.requestTimeLimit) + " and was ended.");
    }
    if (fresh || outcome == WorkerProcess::Outcome::ended) {
      return interrupted("the media worker ended unexpectedly.");
    }
  }
}

WorkerProcess::Outcome MediaWorkerPool::exchangeWith(WorkerProcess& worker, const Errand& errand,
                                                     Packet& reply) {
  const bool isExport = errand.lane == WorkerLane::exports;
  const auto limit = isExport ? options_.exportTimeLimit : options_.requestTimeLimit;
  auto deadline = WorkerProcess::Clock::now() + limit;
  const std::stop_callback stopped(errand.stop, [&worker] { worker.kill(); });
  auto outcome = worker.exchange(errand.message, errand.descriptors, deadline, reply);
  if (!isExport) return outcome;
  const std::int64_t step = errand.descriptors.empty() ? 0 : stepOf(errand.descriptors.front());
  std::int64_t done = 0;
  while (outcome == WorkerProcess::Outcome::answered) {
    const auto progress = progressOf(reply);
    if (!progress) break;
    const auto now = WorkerProcess::Clock::now();
    if (*progress - done >= step) {
      done = *progress;
      deadline = now + limit;
    }
    if (now >= deadline) return WorkerProcess::Outcome::late;
    outcome = worker.waitForMore(deadline, reply);
  }
  return outcome;
}

std::unique_ptr<WorkerProcess> MediaWorkerPool::takeIdle(WorkerProcess::Kind kind) {
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

MediaWorkerPool::StartedWorker MediaWorkerPool::startWorker(WorkerProcess::Kind kind) {
  if (!keeper_.joinable()) {
    return Failure(LibraryErrorCode::internal, "the system has no thread to spare.");
  }
  StartOrder order{.kind = kind};
  const NSLockHolder held(lock_);
  if (shutDown_) return shutDownError();
  orders_.push_back(&order);
  duty_.signal();
  while (!order.started) order.done.wait(lock_);
  return *std::move(order.started);
}

void MediaWorkerPool::keepIdle(std::unique_ptr<WorkerProcess> process) {
  const NSLockHolder held(lock_);
  forget(*process);
  if (shutDown_) return;
  idle_.push_back({std::move(process), WorkerProcess::Clock::now()});
  if (keeperRests_) duty_.signal();
}

void MediaWorkerPool::forget(const WorkerProcess& process) {
  std::erase(busy_, &process);
}

void MediaWorkerPool::keepWorkers() {
  for (;;) {
    const Duty duty = waitForDuty();
    if (duty.start == nullptr && duty.end == nullptr) return;
    if (duty.start == nullptr) continue;
    StartedWorker started = WorkerProcess::start(options_.program, duty.start->kind, environment_);
    const NSLockHolder held(lock_);
    if (shutDown_) started = shutDownError();
    if (started) busy_.push_back(started->get());
    duty.start->started = std::move(started);
    duty.start->done.signal();
  }
}

MediaWorkerPool::Duty MediaWorkerPool::waitForDuty() {
  const NSLockHolder held(lock_);
  for (;;) {
    if (!orders_.empty()) {
      StartOrder* order = orders_.front();
      orders_.pop_front();
      return {order, nullptr};
    }
    if (shutDown_) return {};
    if (idle_.empty()) {
      keeperRests_ = true;
      duty_.wait(lock_);
      keeperRests_ = false;
      continue;
    }
    const auto endTime = idle_.front().since + options_.idleTimeLimit;
    if (WorkerProcess::Clock::now() < endTime) {
      duty_.waitUntil(lock_, endTime);
      continue;
    }
    Duty duty{nullptr, std::move(idle_.front().process)};
    idle_.pop_front();
    return duty;
  }
}

void MediaWorkerPool::shutDown() {
  std::deque<IdleWorker> idle;
  {
    const NSLockHolder held(lock_);
    shutDown_ = true;
    idle = std::exchange(idle_, {});
    for (const WorkerProcess* each : busy_) each->kill();
    duty_.signal();
  }
  for (TurnQueue& each : turns_) each.close();
  for (TurnQueue& each : turns_) each.waitUntilEmpty();

  // All at the same time, so that together they take no longer than one.
  for (const IdleWorker& each : idle) each.process->hangUp();
  const auto deadline = WorkerProcess::Clock::now() + kFarewell;
  for (const IdleWorker& each : idle) each.process->waitForEnd(deadline);
  // Last, for workers end with the thread that started them.
  if (keeper_.joinable()) keeper_.join();
}

}  // namespace quorvin
