// A few media workers, started when needed, shared by all threads.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "media_protocol/packet_socket.h"
#include "media_protocol/wire.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/media/media_service.h"
#include "platform_linux/media/memory_budget.h"
#include "platform_linux/media/turn_queue.h"
#include "platform_linux/media/video_exporter.h"
#include "platform_linux/media/worker_errand.h"
#include "platform_linux/media/worker_keeper.h"
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
  /// How long a request that nobody wants any more may keep its worker, from its beginning on: most
  /// are done by then, and a new worker costs more than the rest of them. An export ends at once.
  std::chrono::milliseconds cancelledTimeLimit = std::chrono::milliseconds(500);
  /// What all workers together may take of the machine's memory. Bytes.
  std::int64_t memory = std::int64_t{3} << 30;

  /// A worker a core, at most four.
  static std::size_t sizeForThisMachine();
};

/// The media service and the exporter whose work is done by worker programs. Any thread. Of the
/// requests beyond a lane's size the newest is served first and now and then the oldest; exports
/// are served in the order in which they came. Nothing that a worker says is believed unchecked.
/// The descriptions of errors are plain sentences, without a domain or code in them.
class MediaWorkerPool final : public MediaService, public VideoExporter {
 public:
  /// Starts no worker yet. Of the environment workers see TZ and LANG, as they are now.
  explicit MediaWorkerPool(MediaWorkerOptions options);
  ~MediaWorkerPool() override;

  Result<MediaProbe> probe(const FileDescriptor& file, const std::string& name) override;
  Result<std::shared_ptr<const RenderedImage>> render(const FileDescriptor& file,
                                                      const RenderRequest& request,
                                                      std::stop_token stop = {}) override;
  Result<ByteBuffer> encode(const RenderedImage& image, ImageFormat format,
                            double quality) override;
  Result<ByteBuffer> writeXmp(const FileDescriptor& existing,
                              const WriteXmpRequest& request) override;

  Result<std::vector<VideoContainer>> exportContainers(const FileDescriptor& source,
                                                       VideoPreset preset) override;
  Done exportVideo(const FileDescriptor& source, const FileDescriptor& output,
                   const VideoExportRequest& request, std::stop_token stop) override;

  /// How a worker of that kind stands.
  Result<WorkerDescription> describe(WorkerProcess::Kind kind);

  /// Ends all workers at once; requests under way and those that wait end in an error, as does
  /// every later one. Returns when no call is inside any more and every worker is reaped. One
  /// thread, not from inside a call.
  void shutDown();

 private:
  class Lease;

  template <class T>
  using ReplyReader = std::function<std::optional<T>(const Map& reply, FileDescriptor memory)>;

  template <class T>
  Result<T> ask(WorkerLane lane, const WorkerRequest& request, int descriptor,
                const ReplyReader<T>& read, std::stop_token stop = {});
  /// In its lane's turn; what needs more memory than everybody may take is done then, outside of
  /// any lane, so that it holds up nothing while it waits for that.
  template <class T>
  Result<T> run(const Map& request, WorkerErrand errand, const ReplyReader<T>& read);
  template <class T>
  Result<T> runLarge(const Map& request, WorkerErrand errand, std::int64_t need,
                     const ReplyReader<T>& read);
  /// `need` stays 0, or becomes what the worker would need.
  template <class T>
  Result<T> serve(const WorkerErrand& errand, const ReplyReader<T>& read, std::int64_t& need);
  Result<Packet> exchange(Lease& lease, const WorkerErrand& errand);

  const MediaWorkerOptions options_;
  std::array<TurnQueue, kWorkerLanes> turns_;  ///< by lane
  MemoryBudget budget_;
  WorkerKeeper workers_;
};

}  // namespace quorvin
