// Which paths are being written, for exports that meet at one.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "core/platform/lock.h"

namespace quorvin {

/// Two exports of one name have one path. Each first clears it and then writes, on threads of its
/// own, so that the one would find the other's file in its way, or take it away while the other
/// still dates it. So what is being written is removed by nobody: it will be replaced. And who has
/// cleared a path may replace what came there since. Any thread; it outlives the holds.
class PathsInUse {
 public:
  /// A write that is under way until the last copy goes.
  using Hold = std::shared_ptr<const void>;
  struct Beginning {
    Hold hold;
    bool mayReplace = false;  ///< the path was cleared for this write
  };
  struct Clearing {
    bool isBeingWritten = false;  ///< it stays, to be replaced
    std::int64_t turn = 0;
  };

  /// Somebody who is about to write wants nothing to stand there, or found that nothing does.
  Clearing clear(const std::string& path) QUORVIN_EXCLUDES(lock_);
  /// Nothing stood there: whether somebody else was about to write at the same time, who may have
  /// removed it.
  bool wasClearedByAnother(const std::string& path, const Clearing& clearing)
      QUORVIN_EXCLUDES(lock_);
  /// It could not be cleared.
  void takeBack(const std::string& path) QUORVIN_EXCLUDES(lock_);

  /// Somebody begins to write.
  Beginning begin(const std::string& path) QUORVIN_EXCLUDES(lock_);

  bool isInUse(const std::string& path) QUORVIN_EXCLUDES(lock_);

 private:
  struct Use {
    int holds = 0;
    int wishes = 0;         ///< of those who have cleared it and not begun yet
    std::int64_t turn = 0;  ///< rises with all that happens
  };
  void end(const std::string& path) QUORVIN_EXCLUDES(lock_);
  void forgetIdle() QUORVIN_REQUIRES(lock_);

  NSLock lock_;
  std::map<std::string, Use> uses_ QUORVIN_GUARDED_BY(lock_);
};

}  // namespace quorvin
