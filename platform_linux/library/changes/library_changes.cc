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
      saver_(*catalogue_, media),
      prompt_(std::move(options.deletionPrompt), options.mainQueue),
      completions_("quorvin-changed", 1),
      saves_("quorvin-saves", 1),
      blocks_("quorvin-changes", 1) {}

void LibraryChanges::performChanges(
    std::function<void(PHChangeRequests&)> changeBlock,
    std::function<void(bool success, std::optional<NSError> error)> completionHandler) {
  blocks_.add([this, changeBlock = std::move(changeBlock),
               completionHandler = std::move(completionHandler)] {
    if (stop_.stop_requested()) return;
    try {
      auto requests = record(changeBlock);
      if (!requests) return complete(completionHandler, presented(requests.error()));
      if (!savesFiles(*requests)) {
        return complete(completionHandler, presented(apply(applier_, *requests)));
      }
      saves_.add([this, completionHandler, requests = *std::move(requests)] {
        if (stop_.stop_requested()) return;
        complete(completionHandler, presented(apply(saver_, requests)));
      });
    } catch (const LibraryUnreadable& unreadable) {
      complete(completionHandler, unreadable.error());
    }
  });
}

Result<std::vector<ChangeRequest>> LibraryChanges::record(
    const std::function<void(PHChangeRequests&)>& changeBlock) {
  if (auto access = accessUnder(authorization_->status()); !access) return access.error();
  // Before anybody is asked, or a file is looked at.
  if (const auto& refusal = catalogue_->folder().refusal) return *refusal;
  ChangeRecorder recorder(*catalogue_);
  changeBlock(recorder);
  std::vector<ChangeRequest> requests = recorder.take();
  if (!prompt_.isEmpty()) {
    const auto deletions = applier_.countDeletions(requests);
    if (!deletions) return deletions.error();
    if (*deletions > 0 && !prompt_.allows(*deletions)) {
      return Failure(LibraryErrorCode::userCancelled, "the deletion was not allowed.");
    }
  }
  return requests;
}

Done LibraryChanges::apply(ChangeApplier& applier, const std::vector<ChangeRequest>& requests) {
  if (requests.empty()) return Null{};
  // The block, the user and the files before these may have taken their time.
  const auto status = authorization_->status();
  if (auto access = accessUnder(status); !access) return access;
  return applier.apply(requests, *status);
}

void LibraryChanges::complete(Completion completionHandler, std::optional<NSError> error) {
  completions_.add(
      [this, completionHandler = std::move(completionHandler), error = std::move(error)] {
        if (!stop_.stop_requested()) completionHandler(!error, error);
      });
}

void LibraryChanges::beginShutDown() {
  stop_.request_stop();
  prompt_.withdraw();
}

void LibraryChanges::shutDown() {
  beginShutDown();
  blocks_.shutDown();
  saves_.shutDown();
  completions_.shutDown();
}

}  // namespace quorvin
