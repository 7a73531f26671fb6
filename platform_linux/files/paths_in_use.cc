#include "platform_linux/files/paths_in_use.h"

namespace quorvin {
namespace {

// Somebody who cleared a path may fail before he begins.
constexpr std::size_t kMostPaths = 1000;

}  // namespace

PathsInUse::Clearing PathsInUse::clear(const std::string& path) {
  const NSLockHolder held(lock_);
  if (uses_.size() >= kMostPaths) forgetIdle();
  Use& use = uses_[path];
  ++use.wishes;
  // Who comes to a path that others have cleared is not alone from the beginning.
  const std::int64_t turn = ++use.turn;
  if (use.wishes > 1) ++use.turn;
  return {use.holds > 0, turn};
}

bool PathsInUse::wasClearedByAnother(const std::string& path, const Clearing& clearing) {
  const NSLockHolder held(lock_);
  const auto use = uses_.find(path);
  return use == uses_.end() || use->second.turn != clearing.turn;
}

void PathsInUse::takeBack(const std::string& path) {
  const NSLockHolder held(lock_);
  const auto use = uses_.find(path);
  if (use == uses_.end() || use->second.wishes == 0) return;
  if (--use->second.wishes == 0 && use->second.holds == 0) uses_.erase(use);
}

PathsInUse::Beginning PathsInUse::begin(const std::string& path) {
  Beginning beginning;
  {
    const NSLockHolder held(lock_);
    Use& use = uses_[path];
    ++use.turn;
    ++use.holds;
    beginning.mayReplace = use.wishes > 0;
    if (use.wishes > 0) --use.wishes;
  }
  beginning.hold = Hold(this, [path](PathsInUse* uses) { uses->end(path); });
  return beginning;
}

bool PathsInUse::isInUse(const std::string& path) {
  const NSLockHolder held(lock_);
  const auto use = uses_.find(path);
  return use != uses_.end() && use->second.holds > 0;
}

void PathsInUse::end(const std::string& path) {
  const NSLockHolder held(lock_);
  const auto use = uses_.find(path);
  ++use->second.turn;
  if (--use->second.holds == 0 && use->second.wishes == 0) uses_.erase(use);
}

void PathsInUse::forgetIdle() {
  std::erase_if(uses_, [](const auto& each) { return each.second.holds == 0; });
}

}  // namespace quorvin
