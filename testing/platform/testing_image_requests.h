// What tests of an image manager's requests let them do.
#pragma once

#include <latch>
#include <mutex>
#include <string>
#include <vector>

#include "platform_linux/images/image_requests.h"

namespace quorvin {

/// The calls of handlers, as texts in their order. Any thread.
class Log {
 public:
  void add(const std::string& text) {
    const std::lock_guard guard(mutex_);
    texts_.push_back(text);
  }
  std::vector<std::string> texts() const {
    const std::lock_guard guard(mutex_);
    return texts_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> texts_;
};

using Texts = std::vector<std::string>;

inline std::string ending(const PHImageInfo& info) {
  if (info.isTrue(PHImageCancelledKey)) return " cancelled";
  if (const NSError* error = info.error(PHImageErrorKey)) return " " + error->localizedDescription;
  return " nothing";
}

inline ImageRequests::Delivery logged(Log& log, const std::string& text) {
  return [&log, text](const PHImageInfo&) { log.add(text); };
}

/// Work that ends in a logged call named `name`.
inline ImageRequests::Work named(Log& log, const std::string& name) {
  return {[&log, name](const ImageRequests::Progress&) -> Result<ImageRequests::Delivery> {
            return logged(log, name);
          },
          [&log, name](const PHImageInfo& info) { log.add(name + ending(info)); }};
}

/// The same, but the work waits until it is let go.
struct HeldWork {
  std::latch started{1};
  std::latch released{1};

  ImageRequests::Work named(Log& log, const std::string& name) {
    ImageRequests::Work work = quorvin::named(log, name);
    work.run = [this, run = work.run](const ImageRequests::Progress& progress) {
      started.count_down();
      released.wait();
      return run(progress);
    };
    return work;
  }
};

}  // namespace quorvin
