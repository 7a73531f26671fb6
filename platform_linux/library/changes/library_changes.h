// Changes of the photo library.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <vector>

#include "core/platform/changes.h"
#include "core/platform/dispatch.h"
#include "platform_linux/dispatch/work_threads.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/changes/change_applier.h"
#include "platform_linux/library/changes/deletion_prompt.h"

namespace quorvin {

class Authorization;
class Library;

struct LibraryChangesOptions {
  /// Asks the user, on the main queue, whether so many assets may be deleted. Empty: who deletes
  /// has decided.
  std::function<bool(std::size_t assetCount)> deletionPrompt;
  /// For the prompt alone. Not owned.
  DispatchQueue* mainQueue = nullptr;
};

/// Any thread. Blocks run one after another on a thread of their own; completions, in the order in
/// which the changes were made, on another. Every change is durable before its completion begins,
/// and fetches then show it. Changes that save files are made one after another on a third thread,
/// for files take their time: other changes do not wait for them.
class LibraryChanges final : public PHPhotoLibraryChanges {
 public:
  /// The media service outlives the changes; the library need not.
  LibraryChanges(const Library& library, MediaService& media, LibraryChangesOptions options = {});
  ~LibraryChanges() override { shutDown(); }

  /// Without access to the library the block does not run, and the change fails.
  void performChanges(
      std::function<void(PHChangeRequests&)> changeBlock,
      std::function<void(bool success, std::optional<NSError> error)> completionHandler) override;

  /// Drops the changes that wait, takes an unanswered question for refused, and lets no further
  /// completion begin, but for those that are just about to. A change under way is finished.
  /// Returns at once.
  void beginShutDown();

  /// `beginShutDown`, and returns when no block or completion runs or can run any more. One thread,
  /// not from inside a block or completion.
  void shutDown();

 private:
  using Completion = std::function<void(bool success, std::optional<NSError> error)>;

  /// What the block asks for, and the user allows.
  Result<std::vector<ChangeRequest>> record(
      const std::function<void(PHChangeRequests&)>& changeBlock);
  Done apply(ChangeApplier& applier, const std::vector<ChangeRequest>& requests);
  void complete(Completion completionHandler, std::optional<NSError> error);

  const std::shared_ptr<Catalogue> catalogue_;
  const std::shared_ptr<Authorization> authorization_;
  ChangeApplier applier_;  ///< used by the blocks' thread
  ChangeApplier saver_;    ///< used by the saves' thread
  DeletionPrompt prompt_;
  std::stop_source stop_;
  // Each hands on to those before it, and so ends before them.
  WorkThreads completions_;
  WorkThreads saves_;
  WorkThreads blocks_;
};

}  // namespace quorvin
