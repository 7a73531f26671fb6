// The channel "quorvin/gallery": what the page does beyond the plugin's methods.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "core/platform/host.h"
#include "tool/serve/engine/channel_hub.h"
#include "tool/serve/engine/library_desk.h"

namespace quorvin {

inline constexpr const char* kGalleryChannelName = "quorvin/gallery";

/// Platform thread.
class GalleryChannel {
 public:
  /// The desk outlives it.
  GalleryChannel(LibraryDesk& desk, std::string library)
      : desk_(desk), library_(std::move(library)) {}

  void handle(std::span<const std::uint8_t> message, const ChannelReply& reply);

 private:
  using Answer = std::function<void(FlutterReply)>;

  void restoreAssets(const Value& arguments, const Answer& answer);
  void addToAlbum(const Value& arguments, const Answer& answer);

  LibraryDesk& desk_;
  const std::string library_;
};

}  // namespace quorvin
