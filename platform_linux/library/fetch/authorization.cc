#include "platform_linux/library/fetch/authorization.h"

#include <utility>

#include "platform_linux/errors/failure.h"

namespace quorvin {

Authorization::Authorization(std::shared_ptr<Catalogue> catalogue,
                             std::optional<PHAuthorizationStatus> own,
                             std::function<std::optional<PHAuthorizationStatus>()> prompt,
                             DispatchQueue* mainQueue)
    : catalogue_(std::move(catalogue)),
      prompt_(std::move(prompt)),
      mainQueue_(mainQueue),
      own_(own) {}

Result<PHAuthorizationStatus> Authorization::status() {
  const auto moment = catalogue_->moment();
  if (!moment) return moment.error();
  return status(**moment);
}

PHAuthorizationStatus Authorization::status(const Catalogue::Moment& moment) {
  NSLockHolder holder(lock_);
  return own_.value_or(moment.status());
}

void Authorization::request(Handler handler) {
  if (mainQueue_ == nullptr) fatalError("Authorization is requested without a main queue");
  mainQueue_->async(
      [self = shared_from_this(), handler = std::move(handler)] { self->answer(handler); });
}

void Authorization::answer(Handler handler) {
  waiting_.push_back(std::move(handler));
  if (isAsking_) return;
  isAsking_ = true;
  const PHAuthorizationStatus status = decide();
  isAsking_ = false;
  for (const Handler& each : std::exchange(waiting_, {})) each(status);
}

PHAuthorizationStatus Authorization::decide() {
  const auto known = status();
  // Nobody is asked what may have been decided before.
  if (!known) return PHAuthorizationStatus::notDetermined;
  const PHAuthorizationStatus standing = *known;
  if (standing != PHAuthorizationStatus::notDetermined || !prompt_) return standing;
  const std::optional<PHAuthorizationStatus> answer = prompt_();
  if (!answer) return standing;
  {
    NSLockHolder holder(lock_);
    if (own_) return *(own_ = answer);
  }
  if (catalogue_->folder().refusal) {
    NSLockHolder holder(lock_);
    return *(own_ = answer);
  }
  storeStatus(*catalogue_, *answer);
  const auto stored = status();
  return stored ? *stored : standing;
}

Done accessUnder(PHAuthorizationStatus status) {
  if (isGranted(status)) return Null{};
  if (status == PHAuthorizationStatus::restricted) {
    return Failure(LibraryErrorCode::accessRestricted,
                   "access to the photo library is restricted.");
  }
  return Failure(LibraryErrorCode::accessUserDenied, "access to the photo library is not granted.");
}

Done accessUnder(const Result<PHAuthorizationStatus>& status) {
  return status ? accessUnder(*status) : Done(status.error());
}

Done storeStatus(Catalogue& catalogue, PHAuthorizationStatus status) {
  return catalogue.change(
      [status](Database& database) -> Done {
        if (writeStatus(database, status)) return Null{};
        return database.lastError("the authorisation cannot be stored");
      },
      Catalogue::Room::reserve);
}

}  // namespace quorvin
