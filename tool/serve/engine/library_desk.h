// Looks into the library for the server, on threads of its own.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "core/platform/photo_library.h"
#include "core/platform/platform.h"
#include "platform_linux/dispatch/work_threads.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/fetch/asset_files.h"
#include "tool/serve/engine/mailbox.h"

namespace quorvin {

/// As the library has it now.
struct FoundAsset {
  std::shared_ptr<const PHAsset> asset;
  StoredResources files;

  /// The first file of the type; null when there is none.
  std::shared_ptr<const StoredResource> fileOf(PHAssetResourceType type) const;
  /// Differs when anything is different that the asset is shown by.
  std::string version() const;
};

/// Null: no such asset, or none that may be seen.
using AssetSearch = Result<std::shared_ptr<const FoundAsset>>;

/// Platform thread.
class LibraryDesk {
 public:
  /// Both outlive it.
  LibraryDesk(Platform& platform, Mailbox& mailbox)
      : platform_(platform), mailbox_(mailbox), threads_("quorvin-serve", 2) {}

  void find(std::string identifier, std::function<void(AssetSearch)> then);

  /// Runs `work` on another thread, and then `then` on this one.
  template <class T>
  void run(std::function<T()> work, std::function<void(T)> then) {
    threads_.add(
        [work = std::move(work), answer = mailbox_.expect(std::move(then))] { answer(work()); });
  }

  /// Returns when nothing of it runs any more.
  void shutDown() { threads_.shutDown(); }

  Platform& platform() { return platform_; }
  Mailbox& mailbox() { return mailbox_; }

 private:
  Platform& platform_;
  Mailbox& mailbox_;
  WorkThreads threads_;
};

}  // namespace quorvin
