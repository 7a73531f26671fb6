#include "platform_linux/media/media_worker_pool.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <thread>
#include <utility>

#include "codec/standard_message_codec.h"
#include "codec/utf8.h"
#include "platform_linux/media/worker_replies.h"

namespace quorvin {

namespace {

/// Bytes that every request may take, and what a worker comes to with those.
constexpr std::int64_t kFreeMemory = 70 << 20;
constexpr std::int64_t kWorkerMemory = 112 << 20;

/// A request's stay in its lane.
class Turn {
 public:
  Turn(TurnQueue& turns, const std::stop_token& stop)
      : turns_(turns), entered_(turns.enter(stop)) {}
  ~Turn() {
    if (entered_) turns_.leave();
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  /// False when the pool is shut down, or the request was stopped before its turn.
  explicit operator bool() const { return entered_; }

 private:
  TurnQueue& turns_;
  const bool entered_;
};

/// A request's share of the memory.
class Share {
 public:
  Share(MemoryBudget& budget, WorkerLane lane, std::int64_t bytes, const std::stop_token& stop)
      : budget_(budget), lane_(lane), bytes_(bytes), given_(budget.take(lane, bytes, stop)) {}
  ~Share() {
    if (given_) budget_.giveBack(lane_, bytes_);
  }
  Share(const Share&) = delete;
  Share& operator=(const Share&) = delete;

  /// False when the pool is shut down, or the request was stopped before.
  explicit operator bool() const { return given_; }

 private:
  MemoryBudget& budget_;
  const WorkerLane lane_;
  const std::int64_t bytes_;
  const bool given_;
};

Failure interrupted(std::string_view sentence, bool isOfFile = false) {
  Failure failure(LibraryErrorCode::operationInterrupted, sentence);
  failure.isOfFile = isOfFile;
  return failure;
}

Failure cancelledError(WorkerLane lane) {
  return Failure(LibraryErrorCode::userCancelled, lane == WorkerLane::exports
                                                      ? "the export was cancelled."
                                                      : "the request was cancelled.");
}

/// `blamable`: the worker was fresh, and nobody ended it.
WorkerKeeper::End endOf(WorkerProcess::Outcome outcome, bool blamable) {
  if (blamable && outcome == WorkerProcess::Outcome::ended) return WorkerKeeper::End::died;
  if (blamable && outcome == WorkerProcess::Outcome::notReceived)
    return WorkerKeeper::End::notStarted;
  return WorkerKeeper::End::unreliable;
}

/// Whether the next worker would fail at it as well. A slow disk, a busy machine and whoever ends
/// processes when memory is short say nothing about the file.
bool isFilesDoing(const WorkerProcess& worker, WorkerProcess::Outcome outcome,
                  std::chrono::milliseconds limit, std::chrono::nanoseconds usedBefore) {
  if (outcome == WorkerProcess::Outcome::ended) return worker.endedByItself();
  return outcome == WorkerProcess::Outcome::late && worker.processorTime() - usedBefore > limit / 2;
}

Failure senseless() {
  return interrupted("the media worker gave an answer that makes no sense.", true);
}

std::string inMebibytes(std::int64_t bytes) {
  return std::to_string(bytes >> 20) + " MiB";
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

/// The worker that serves a request.
class MediaWorkerPool::Lease {
 public:
  explicit Lease(WorkerKeeper& workers) : workers_(workers) {}
  ~Lease() { giveUp(WorkerKeeper::End::unreliable); }
  Lease(const Lease&) = delete;
  Lease& operator=(const Lease&) = delete;

  WorkerProcess* worker() const { return worker_.get(); }
  void use(std::unique_ptr<WorkerProcess> worker) { worker_ = std::move(worker); }
  /// The worker did well and may serve another request.
  void keep() { workers_.keep(std::move(worker_)); }
  void giveUp(WorkerKeeper::End end) {
    if (worker_) workers_.giveUp(std::move(worker_), end);
  }

 private:
  WorkerKeeper& workers_;
  std::unique_ptr<WorkerProcess> worker_;
};

MediaWorkerPool::MediaWorkerPool(MediaWorkerOptions options)
    : options_(std::move(options)),
      turns_{{TurnQueue(options_.size, TurnQueue::Order::newestFirst),
              TurnQueue(options_.size, TurnQueue::Order::newestFirst), TurnQueue(options_.size)}},
      budget_(options_.memory -
              kWorkerMemory * static_cast<std::int64_t>(kWorkerLanes * options_.size)),
      workers_(options_.program, options_.idleTimeLimit) {}

MediaWorkerPool::~MediaWorkerPool() {
  shutDown();
}

Result<MediaProbe> MediaWorkerPool::probe(const FileDescriptor& file, const std::string& name) {
  return ask<MediaProbe>(WorkerLane::chores, ProbeRequest{asText(name)}, file.get(), probeReply);
}

Result<std::shared_ptr<const RenderedImage>> MediaWorkerPool::render(const FileDescriptor& file,
                                                                     const RenderRequest& request,
                                                                     std::stop_token stop) {
  return ask<std::shared_ptr<const RenderedImage>>(
      laneOf(request), request, file.get(),
      [&request](const Map& reply, FileDescriptor memory) {
        return imageReply(request, reply, std::move(memory));
      },
      std::move(stop));
}

Result<ByteBuffer> MediaWorkerPool::encode(const RenderedImage& image, ImageFormat format,
                                           double quality) {
  const PixelLayout layout{image.width(), image.height(), image.channels(), image.profileSize()};
  return ask<ByteBuffer>(laneOf(layout), EncodeRequest{format, quality, layout}, image.fd(),
                         [&layout](const Map& reply, FileDescriptor memory) {
                           return bytesReply(layout.byteCount(), reply, std::move(memory));
                         });
}

Result<ByteBuffer> MediaWorkerPool::writeXmp(const FileDescriptor& existing,
                                             const WriteXmpRequest& request) {
  const int descriptor = existing.get();
  const std::span<const int> descriptors(&descriptor, existing ? 1 : 0);
  return run<ByteBuffer>(requestToMap(request), {{}, descriptors, WorkerLane::chores, {}},
                         [](const Map& reply, FileDescriptor memory) {
                           return bytesReply(0, reply, std::move(memory));
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
  const auto done =
      run<bool>(requestToMap(request), {{}, descriptors, WorkerLane::exports, std::move(stop)},
                exportDoneReply);
  return done ? Done(Null{}) : done.error();
}

Result<WorkerDescription> MediaWorkerPool::describe(WorkerProcess::Kind kind) {
  const WorkerLane lane =
      kind == WorkerProcess::Kind::exports ? WorkerLane::exports : WorkerLane::looks;
  return run<WorkerDescription>(requestToMap(DescribeRequest()), {{}, {}, lane, {}},
                                descriptionReply);
}

template <class T>
Result<T> MediaWorkerPool::ask(WorkerLane lane, const WorkerRequest& request, int descriptor,
                               const ReplyReader<T>& read, std::stop_token stop) {
  return run<T>(requestToMap(request), {{}, {&descriptor, 1}, lane, std::move(stop)}, read);
}

template <class T>
Result<T> MediaWorkerPool::run(const Map& request, WorkerErrand errand,
                               const ReplyReader<T>& read) {
  errand.message = encodeMessage(withMemory(request, kFreeMemory));
  if (errand.message.size() > kMaximumPacketSize) {
    return Failure(LibraryErrorCode::invalidResource, "the file's name is too long.");
  }
  std::int64_t need = 0;
  {
    const Turn turn(turns_[static_cast<std::size_t>(errand.lane)], errand.stop);
    if (errand.stop.stop_requested()) return cancelledError(errand.lane);
    if (!turn) return WorkerKeeper::closedError();
    Result<T> result = serve(errand, read, need);
    if (need == 0) return result;
  }
  return runLarge(request, std::move(errand), need, read);
}

template <class T>
Result<T> MediaWorkerPool::runLarge(const Map& request, WorkerErrand errand, std::int64_t need,
                                    const ReplyReader<T>& read) {
  if (need > budget_.mostFor(errand.lane)) {
    return Failure(LibraryErrorCode::invalidResource,
                   "it would take " + inMebibytes(need) + " of memory to decode, and there is " +
                       inMebibytes(budget_.mostFor(errand.lane)) + " for that.");
  }
  const Share share(budget_, errand.lane, need, errand.stop);
  if (errand.stop.stop_requested()) return cancelledError(errand.lane);
  if (!share) return WorkerKeeper::closedError();
  errand.message = encodeMessage(withMemory(request, need));
  errand.memory = need;
  std::int64_t more = 0;
  Result<T> result = serve(errand, read, more);
  return more == 0 ? std::move(result) : senseless();
}

template <class T>
Result<T> MediaWorkerPool::serve(const WorkerErrand& errand, const ReplyReader<T>& read,
                                 std::int64_t& need) {
  Lease lease(workers_);
  Result<Packet> reply = exchange(lease, errand);
  if (!reply) return reply.error();

  const std::optional<Value> value = decodeMessage(reply->bytes);
  const Map* map = value ? value->as<Map>() : nullptr;
  if (map == nullptr) return senseless();
  std::optional<Failure> refusal = errorFromMap(*map);
  const std::optional<std::int64_t> needed = refusal ? std::nullopt : needFromMap(*map);
  std::optional<T> result =
      refusal || needed ? std::nullopt : read(*map, std::move(reply->descriptor));
  if (refusal || needed || result) lease.keep();
  if (refusal) return *std::move(refusal);
  if (result) return *std::move(result);
  need = needed.value_or(0);
  return senseless();
}

Result<Packet> MediaWorkerPool::exchange(Lease& lease, const WorkerErrand& errand) {
  const bool isExport = errand.lane == WorkerLane::exports;
  const auto kind = isExport ? WorkerProcess::Kind::exports : WorkerProcess::Kind::pictures;
  const ErrandLimits limits{isExport ? options_.exportTimeLimit : options_.requestTimeLimit,
                            options_.cancelledTimeLimit};
  if (errand.memory <= WorkerProcess::kOrdinaryMemory) lease.use(workers_.takeIdle(kind));
  ErrandLimits left = limits;
  // A fresh one gets what a used one ended on: it may have ended while it was idle, or of what it
  // had read before. An export has written by then.
  for (bool fresh = lease.worker() == nullptr;; fresh = true) {
    if (fresh) {
      auto started = workers_.start(kind, WorkerProcess::Clock::now() + limits.time, errand.memory);
      if (!started) return started.error();
      lease.use(*std::move(started));
    }
    Packet reply;
    const WorkerProcess& worker = *lease.worker();
    const auto usedBefore = worker.processorTime();
    const auto begin = WorkerProcess::Clock::now();
    const auto outcome = carryOut(errand, *lease.worker(), left, reply);
    if (outcome == WorkerProcess::Outcome::answered) return reply;
    const bool isOfFile = isFilesDoing(worker, outcome, limits.time, usedBefore);
    const bool isStopped = errand.stop.stop_requested();
    lease.giveUp(endOf(outcome, fresh && !isStopped));
    if (isStopped) return cancelledError(errand.lane);
    if (outcome == WorkerProcess::Outcome::late) {
      return interrupted((isExport ? "the media worker did not get on for "
                                   : "the media worker took longer than ") +
                             inSeconds(limits.time) + " and was ended.",
                         isOfFile);
    }
    if (fresh || (isExport && outcome == WorkerProcess::Outcome::ended)) {
      return interrupted("the media worker ended unexpectedly.", isOfFile);
    }
    left.time -= std::chrono::ceil<std::chrono::milliseconds>(WorkerProcess::Clock::now() - begin);
  }
}

void MediaWorkerPool::shutDown() {
  workers_.close();
  for (TurnQueue& each : turns_) each.close();
  budget_.close();
  for (TurnQueue& each : turns_) each.waitUntilEmpty();
  budget_.waitUntilEmpty();
  workers_.shutDown();
}

}  // namespace quorvin
