#include "platform_linux/library/changes/library_changes.h"

#include <utility>
#include <vector>

#include "platform_linux/errors/presented.h"
#include "platform_linux/library/fetch/authorization.h"
#include "platform_linux/library/fetch/library.h"

namespace quorvin {

LibraryChanges::LibraryChanges(const Library& library, MediaService& media,
                               LibraryChangesOptions options)
    : catalogue_(library.catalogue()),
      authorization_(library.authorization()),
      applier_(*catalogue_, media),
      prompt_(std::move(options.deletionPrompt), options.mainQueue),
      completions_("quorvin-changed", 1),
      blocks_("quorvin-changes", 1) {}

void LibraryChanges::performChanges(
    std::function<void(PHChangeRequests&)> changeBlock,
    std::function<void(bool success, std::optional<NSError> error)> completionHandler) {
  blocks_.add([this, changeBlock = std::move(changeBlock),
               completionHandler = std::move(completionHandler)] {
    if (stop_.stop_requested()) return;
    std::optional<NSError> error;
    try {
      error = presented(perform(changeBlock));
    } catch (const LibraryUnreadable& unreadable) {
      error = unreadable.error();
    }
    completions_.add([this, completionHandler, error] {
      if (!stop_.stop_requested()) completionHandler(!error, error);
    });
  });
}

Done LibraryChanges::perform(const std::function<void(PHChangeRequests&)>& changeBlock) {
  if (auto access = accessUnder(authorization_->status()); !access) return access;
  ChangeRecorder recorder(*catalogue_);
  changeBlock(recorder);
  const std::vector<ChangeRequest> requests = recorder.take();
  if (requests.empty()) return Null{};
  if (!prompt_.isEmpty()) {
    const auto deletions = applier_.countDeletions(requests);
    if (!deletions) return deletions.error();
    if (*deletions > 0 && !prompt_.allows(*deletions)) {
      return Failure(LibraryErrorCode::userCancelled, "the deletion was not allowed.");
    }
  }
  // The block and the user may have taken their time.
  const auto status = authorization_->status();
  if (auto access = accessUnder(status); !access) return access;
  return applier_.apply(requests, *status);
}

void LibraryChanges::beginShutDown() {
  stop_.request_stop();
  prompt_.withdraw();
}

void LibraryChanges::shutDown() {
  beginShutDown();
  blocks_.shutDown();
  completions_.shutDown();
}

}  // namespace quorvin
