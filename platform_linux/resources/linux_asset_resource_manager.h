// Copies of an asset's files.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "core/platform/asset_resources.h"
#include "platform_linux/dispatch/work_threads.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/files/temporary_directory.h"
#include "platform_linux/library/fetch/asset_files.h"

namespace quorvin {

/// Any thread. Copies are made on threads of the manager's own, sharing the storage where the file
/// system can, and appear at their place whole. Whether the library may be read is asked anew for
/// every copy.
class LinuxAssetResourceManager final : public PHAssetResourceManager {
 public:
  /// `assets` and `temporary` outlive the manager. So many copies are made at a time.
  LinuxAssetResourceManager(AssetFiles& assets, TemporaryDirectory& temporary,
                            std::size_t threadCount = 2)
      : assets_(assets), temporary_(temporary), threads_("quorvin-copies", threadCount) {}
  ~LinuxAssetResourceManager() override { shutDown(); }

  /// Resources of the library alone can be written.
  void writeDataForAssetResource(
      std::shared_ptr<const PHAssetResource> resource, const std::string& toFile,
      const PHAssetResourceRequestOptions* options,
      std::function<void(std::optional<NSError>)> completionHandler) override;

  /// Drops the copies that wait, ends those under way, and lets no further completion begin, but
  /// for those that are just about to. Returns at once.
  void beginShutDown() { stop_.request_stop(); }

  /// `beginShutDown`, and returns when no completion runs or can run any more. One thread, not from
  /// inside a completion.
  void shutDown();

 private:
  Done copy(const PHAssetResource& resource, const std::string& toFile, bool isTaken);

  AssetFiles& assets_;
  TemporaryDirectory& temporary_;
  std::stop_source stop_;
  WorkThreads threads_;  ///< last, so that its threads end first
};

}  // namespace quorvin
