// Whether this program may use the library.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "core/platform/dispatch.h"
#include "core/platform/lock.h"
#include "core/platform/photo_library.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/catalogue.h"

namespace quorvin {

/// Any thread. Outlives the library object for as long as a request is on its way.
class Authorization : public std::enable_shared_from_this<Authorization> {
 public:
  Authorization(std::shared_ptr<Catalogue> catalogue, std::optional<PHAuthorizationStatus> own,
                std::function<std::optional<PHAuthorizationStatus>()> prompt,
                DispatchQueue* mainQueue);

  /// An error when the catalogue cannot be read.
  Result<PHAuthorizationStatus> status();
  /// The same, without a look at the catalogue.
  PHAuthorizationStatus status(const Catalogue::Moment& moment);

  using Handler = std::function<void(PHAuthorizationStatus)>;
  /// Calls the handler on the main queue, after the user was asked where nothing was decided yet.
  /// While somebody is being asked, further requests wait for that answer: a question that runs the
  /// main queue is not asked again inside itself.
  void request(Handler handler);

 private:
  /// On the main queue.
  void answer(Handler handler);
  /// On the main queue: asks when nothing was decided yet, and keeps the answer; of a library that
  /// can only be read, for this opener alone.
  PHAuthorizationStatus decide();

  const std::shared_ptr<Catalogue> catalogue_;
  const std::function<std::optional<PHAuthorizationStatus>()> prompt_;
  DispatchQueue* const mainQueue_;
  bool isAsking_ = false;         ///< on the main queue
  std::vector<Handler> waiting_;  ///< for the answer; on the main queue
  NSLock lock_;
  std::optional<PHAuthorizationStatus> own_ QUORVIN_GUARDED_BY(lock_);
};

/// True for the statuses that open the library, wholly or in part.
inline bool isGranted(PHAuthorizationStatus status) {
  return status == PHAuthorizationStatus::authorized || status == PHAuthorizationStatus::limited;
}

/// Why the library stays shut with this status; none when it is granted.
Done accessUnder(PHAuthorizationStatus status);
Done accessUnder(const Result<PHAuthorizationStatus>& status);

/// Keeps the status for all openers without one of their own.
Done storeStatus(Catalogue& catalogue, PHAuthorizationStatus status);

}  // namespace quorvin
