// A media service for tests: a file says of itself what it is, in words.
#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "platform_linux/errors/failure.h"
#include "platform_linux/media/media_service.h"

namespace quorvin {

/// Understands files such as "image id=X burst=B primary date=5 anything=else": the kind first,
/// then properties. "side kind=xmp date=5 favorite title=Two_words" is a side file, for which
/// "part=5:IMG_E1.JPG:WAS.JPG album=A modified=7 hidden burst=B primary represents chosen=2" are
/// what an export told. What begins with no kind is no media.
class ScriptedMedia final : public MediaService {
 public:
  /// Called before each answer.
  std::function<void(const std::string& name)> onProbe;
  std::atomic<int> probes = 0;

  Result<MediaProbe> probe(const FileDescriptor& file, const std::string& name) override;
  /// These are refused.
  Result<std::shared_ptr<const RenderedImage>> render(const FileDescriptor& file,
                                                      const RenderRequest& request,
                                                      std::stop_token stop = {}) override;
  Result<ByteBuffer> encode(const RenderedImage& image, ImageFormat format,
                            double quality) override;
  /// A side file in words, with what `existing` says behind it.
  Result<ByteBuffer> writeXmp(const FileDescriptor& existing,
                              const WriteXmpRequest& request) override;
};

}  // namespace quorvin
