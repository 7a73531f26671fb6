// Reads from the journal what was committed.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "core/platform/photo_library.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/fetch/authorization.h"
#include "platform_linux/library/watch/library_watch.h"

namespace quorvin {

/// Has a connection of its own, by which it notices commits. One thread at a time.
class ChangeReader {
 public:
  /// What is committed from now on will be read. An error when the catalogue cannot be read.
  static Result<std::unique_ptr<ChangeReader>> open(const Catalogue& catalogue,
                                                    std::shared_ptr<Authorization> authorization);

  /// What was committed since the last time and concerns this program. With full access every
  /// commit does, also one that changed nothing that is listed; where the library can only be read,
  /// it cannot always be told from none.
  std::optional<LibraryChange> read();

  /// What was read last reached nobody: the next time tells that all is to be asked anew.
  void loseTrack() { isTrackLost_ = true; }

 private:
  struct Moment {
    std::int64_t version = 0;  ///< differs when something was committed
    std::int64_t first = 0;    ///< the oldest entry; with none, the one after the last
    std::int64_t last = 0;     ///< the newest entry
  };

  ChangeReader(std::unique_ptr<Database> database, std::shared_ptr<Authorization> authorization,
               bool noticesAllCommits)
      : database_(std::move(database)),
        authorization_(std::move(authorization)),
        noticesAllCommits_(noticesAllCommits) {}
  std::optional<Moment> present();
  LibraryChange everything(PHAuthorizationStatus status);

  const std::unique_ptr<Database> database_;
  const std::shared_ptr<Authorization> authorization_;
  const bool noticesAllCommits_;
  Moment read_;
  bool isTrackLost_ = false;
  PHAuthorizationStatus status_ = PHAuthorizationStatus::notDetermined;
  std::int64_t sequence_ = 0;  ///< the last one told
};

}  // namespace quorvin
