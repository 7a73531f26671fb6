// Media work that several callers want at once is done once.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "core/platform/lock.h"
#include "platform_linux/media/media_service.h"

namespace quorvin {

/// Stands before a media service, which outlives it. Callers who want the same rendering of the
/// same content of the same file share it, also while an earlier one still has it; here and not in
/// the pool, for here is what cancelled whom. Any thread, several at once.
class JoinedMedia final : public MediaService {
 public:
  explicit JoinedMedia(MediaService& media) : media_(media) {}

  Result<MediaProbe> probe(const FileDescriptor& file, const std::string& name) override {
    return media_.probe(file, name);
  }
  /// What is rendered stops only when none of those who share it wants it.
  Result<std::shared_ptr<const RenderedImage>> render(const FileDescriptor& file,
                                                      const RenderRequest& request,
                                                      std::stop_token stop = {}) override;
  Result<ByteBuffer> encode(const RenderedImage& image, ImageFormat format,
                            double quality) override {
    return media_.encode(image, format, quality);
  }
  Result<ByteBuffer> writeXmp(const FileDescriptor& existing,
                              const WriteXmpRequest& request) override {
    return media_.writeXmp(existing, request);
  }

  /// Those who wait for what others have asked for.
  std::size_t waiting() QUORVIN_EXCLUDES(lock_);

 private:
  using Image = Result<std::shared_ptr<const RenderedImage>>;

  /// A rendering under way. All of it is guarded by `lock_`.
  struct Rendering {
    std::size_t wanted = 1;  ///< by so many
    std::stop_source stop;
    std::optional<Image> result;
    NSCondition done;
  };
  using Renderings = std::map<std::string, std::shared_ptr<Rendering>>;

  std::shared_ptr<const RenderedImage> finished(const std::string& key) QUORVIN_REQUIRES(lock_);
  Image await(const std::string& key, Rendering& rendering, const std::stop_token& stop)
      QUORVIN_EXCLUDES(lock_);
  void leave(const std::string& key, Rendering& rendering) QUORVIN_EXCLUDES(lock_);
  void forget(const std::string& key, const Rendering& rendering) QUORVIN_REQUIRES(lock_);

  MediaService& media_;

  NSLock lock_;
  std::size_t waiting_ QUORVIN_GUARDED_BY(lock_) = 0;
  /// Those that somebody wants.
  Renderings underWay_ QUORVIN_GUARDED_BY(lock_);
  std::map<std::string, std::weak_ptr<const RenderedImage>> finished_ QUORVIN_GUARDED_BY(lock_);
};

}  // namespace quorvin
