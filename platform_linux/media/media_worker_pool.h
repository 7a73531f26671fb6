// A few media workers, started when needed, shared by all threads.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "core/platform/lock.h"
#include "media_protocol/packet_socket.h"
#include "media_protocol/wire.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/media/media_service.h"
#include "platform_linux/media/turn_queue.h"
#include "platform_linux/media/video_exporter.h"
#include "platform_linux/media/worker_lane.h"
#include "platform_linux/media/worker_process.h"

namespace quorvin {

#ifdef QUORVIN_SANITIZED  // everything is many times slower
inline constexpr std::chrono::seconds kRequestTime(60);
#else
inline constexpr std::chrono::seconds kRequestTime(10);
#endif

struct MediaWorkerOptions {
  std::string program;  ///< path of the worker program
  /// Workers at once in each lane, at least 1; more requests wait their turn. What somebody looks
  /// at has a lane of its own, and so have exports of videos: neither waits for anything else.
  std::size_t size = 2;
  /// What one request may take; the wait for a turn does not count.
  std::chrono::milliseconds requestTimeLimit = kRequestTime;
  /// What an export of a video may take without getting on.
  std::chrono::milliseconds exportTimeLimit = std::chrono::seconds(60);
  /// How long a worker may wait for its next request before it is ended.
  std::chrono::milliseconds idleTimeLimit = std::chrono::seconds(30);

  /// A worker a core, at most four.
  static std::size_t sizeForThisMachine();
};

/// The media service and the exporter whose work is done by worker programs. Any thread. Requests
/// beyond a lane's size are served in the order in which they came. Nothing that a worker says is
/// believed unchecked. The descriptions of errors are plain sentences, without a domain or code in
/// them.
class MediaWorkerPool final : public MediaService, public VideoExporter {
 public:
  /// Starts no worker yet. Of the environment workers see TZ and LANG, as they are now.
  explicit MediaWorkerPool(MediaWorkerOptions options);
  ~MediaWorkerPool() override;

  Result<MediaProbe> probe(const FileDescriptor& file, const std::string& name) override;
  Result<std::shared_ptr<const RenderedImage>> render(const FileDescriptor& file,
                                                      const RenderRequest& request) override;
  Result<ByteBuffer> encode(const RenderedImage& image, ImageFormat format,
                            double quality) override;

  Result<std::vector<VideoContainer>> exportContainers(const FileDescriptor& source,
                                                       VideoPreset preset) override;
  Done exportVideo(const FileDescriptor& source, const FileDescriptor& output,
                   const VideoExportRequest& request, std::stop_token stop) override;

  /// How a worker of that kind stands.
  Result<WorkerDescription> describe(WorkerProcess::Kind kind);

  /// Ends all workers at once; requests under way and those that wait end in an error, as does
  /// every later one. Returns when no call is inside any more and every worker is reaped. One
  /// thread, not from inside a call.
  void shutDown() QUORVIN_EXCLUDES(lock_);

 private:
  class Turn;

  /// What goes to a worker.
  struct Errand {
    std::vector<std::uint8_t> message;
    std::span<const int> descriptors;
    WorkerLane lane = WorkerLane::chores;
    std::stop_token stop;
  };

  struct IdleWorker {
    std::unique_ptr<WorkerProcess> process;
    WorkerProcess::Clock::time_point since;
  };
  using StartedWorker = Result<std::unique_ptr<WorkerProcess>>;
  struct StartOrder {
    const WorkerProcess::Kind kind;
    NSCondition done;
    std::optional<StartedWorker> started;
  };
  /// What the keeper has to do next; neither when the pool is shut down.
  struct Duty {
    StartOrder* start = nullptr;
    std::unique_ptr<WorkerProcess> end;
  };

  template <class T>
  using ReplyReader = std::function<std::optional<T>(const Map& reply, FileDescriptor memory)>;

  template <class T>
  Result<T> ask(WorkerLane lane, const WorkerRequest& request, int descriptor,
                const ReplyReader<T>& read);
  template <class T>
  Result<T> run(const Errand& errand, const ReplyReader<T>& read);
  Result<Packet> exchange(Turn& turn, const Errand& errand);
  WorkerProcess::Outcome exchangeWith(WorkerProcess& worker, const Errand& errand, Packet& reply);

  /// The worker of that kind that was used last, so that those that are too many grow old; null
  /// when none idles.
  std::unique_ptr<WorkerProcess> takeIdle(WorkerProcess::Kind kind) QUORVIN_EXCLUDES(lock_);
  StartedWorker startWorker(WorkerProcess::Kind kind) QUORVIN_EXCLUDES(lock_);
  void keepIdle(std::unique_ptr<WorkerProcess> process) QUORVIN_EXCLUDES(lock_);
  void forget(const WorkerProcess& process) QUORVIN_REQUIRES(lock_);
  void keepWorkers() QUORVIN_EXCLUDES(lock_);
  Duty waitForDuty() QUORVIN_EXCLUDES(lock_);

  const MediaWorkerOptions options_;
  const std::vector<std::string> environment_;
  std::array<TurnQueue, kWorkerLanes> turns_;  ///< by lane

  NSLock lock_;
  NSCondition duty_;
  bool shutDown_ QUORVIN_GUARDED_BY(lock_) = false;
  std::vector<const WorkerProcess*> busy_ QUORVIN_GUARDED_BY(lock_);
  std::deque<IdleWorker> idle_ QUORVIN_GUARDED_BY(lock_);  ///< the longest idle first
  std::deque<StartOrder*> orders_ QUORVIN_GUARDED_BY(lock_);
  /// The keeper waits for no moment; else it looks at the idle workers by itself, in time.
  bool keeperRests_ QUORVIN_GUARDED_BY(lock_) = false;

  /// Starts workers, which inherit its priority and not that of a background thread which happens
  /// to ask first, and ends those that idle for too long.
  std::thread keeper_;
};

}  // namespace quorvin
