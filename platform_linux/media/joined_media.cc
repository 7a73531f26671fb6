#include "platform_linux/media/joined_media.h"

#include <sys/stat.h>

#include <array>
#include <new>
#include <utility>

#include "codec/standard_message_codec.h"
#include "media_protocol/wire.h"

namespace quorvin {

namespace {

/// What stands for the file's content now, and for what is asked of it; empty when the file does
/// not say.
std::string keyOf(const FileDescriptor& file, const RenderRequest& request) {
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return {};
  const std::array<std::uint64_t, 7> content{
      status.st_dev,
      status.st_ino,
      static_cast<std::uint64_t>(status.st_size),
      static_cast<std::uint64_t>(status.st_mtim.tv_sec),
      static_cast<std::uint64_t>(status.st_mtim.tv_nsec),
      static_cast<std::uint64_t>(status.st_ctim.tv_sec),
      static_cast<std::uint64_t>(status.st_ctim.tv_nsec),
  };
  std::string key(reinterpret_cast<const char*>(content.data()), sizeof content);
  const auto message = encodeMessage(requestToMap(request));
  key.append(message.begin(), message.end());
  return key;
}

}  // namespace

Result<std::shared_ptr<const RenderedImage>> JoinedMedia::render(const FileDescriptor& file,
                                                                 const RenderRequest& request,
                                                                 std::stop_token stop) {
  const std::string key = keyOf(file, request);
  if (key.empty()) return media_.render(file, request, std::move(stop));
  const auto own = std::make_shared<Rendering>();
  std::shared_ptr<Rendering> others;
  {
    const NSLockHolder held(lock_);
    if (auto image = finished(key)) return image;
    const auto [place, isOwn] = underWay_.try_emplace(key, own);
    if (!isOwn) {
      others = place->second;
      ++others->wanted;
    }
  }
  if (others) return await(key, *others, stop);

  // Who renders stays to the end, as long as anybody wants it.
  std::optional<Image> result;
  {
    const std::stop_callback unwanted(stop, [&] { leave(key, *own); });
    try {
      result = media_.render(file, request, own->stop.get_token());
    } catch (const std::bad_alloc&) {
      // Those who wait have to learn of it as well.
      result = Failure(LibraryErrorCode::internal, "memory ran out.");
    }
  }
  const NSLockHolder held(lock_);
  own->result = result;
  if (*result) finished_[key] = **result;
  forget(key, *own);
  own->done.broadcast();
  return *std::move(result);
}

std::shared_ptr<const RenderedImage> JoinedMedia::finished(const std::string& key) {
  std::erase_if(finished_, [](const auto& each) { return each.second.expired(); });
  const auto found = finished_.find(key);
  return found == finished_.end() ? nullptr : found->second.lock();
}

JoinedMedia::Image JoinedMedia::await(const std::string& key, Rendering& rendering,
                                      const std::stop_token& stop) {
  {
    // Goes when the lock is free: going waits for a call under way, which takes the lock.
    const std::stop_callback unwanted(stop, [&] {
      const NSLockHolder held(lock_);
      rendering.done.broadcast();
    });
    const NSLockHolder held(lock_);
    ++waiting_;
    while (!rendering.result && !stop.stop_requested()) rendering.done.wait(lock_);
    --waiting_;
    if (rendering.result) return *rendering.result;
  }
  leave(key, rendering);
  return Failure(LibraryErrorCode::userCancelled, "the request was cancelled.");
}

void JoinedMedia::leave(const std::string& key, Rendering& rendering) {
  {
    const NSLockHolder held(lock_);
    if (--rendering.wanted > 0) return;
    forget(key, rendering);
  }
  // Ends a worker, perhaps.
  rendering.stop.request_stop();
}

void JoinedMedia::forget(const std::string& key, const Rendering& rendering) {
  const auto found = underWay_.find(key);
  if (found != underWay_.end() && found->second.get() == &rendering) underWay_.erase(found);
}

std::size_t JoinedMedia::waiting() {
  const NSLockHolder held(lock_);
  return waiting_;
}

}  // namespace quorvin
