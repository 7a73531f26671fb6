// Folders whose new files come into a library by themselves.
#pragma once

#include <chrono>
#include <stop_token>
#include <string>
#include <vector>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/inbox/arrivals.h"

namespace quorvin {

struct InboxOptions {
  /// They are searched as for an import. One may be missing now and then.
  std::vector<std::string> folders;
  std::string library;  ///< which is passed over
  std::stop_token stop;

  Arrivals::Pace pace;
  /// A folder may vanish, or another one be mounted at its place, without a word from the system:
  /// they are looked after this often.
  std::chrono::milliseconds lookAfter{30'000};
  /// Where the system tells of no changes, they are looked for, this often and not more.
  std::chrono::milliseconds search{60'000};
  /// What could not be imported is tried again after so long, each time after twice as long, up to
  /// the longest.
  std::chrono::milliseconds pause{5'000};
  std::chrono::milliseconds longestPause{300'000};
};

class InboxOwner {
 public:
  virtual ~InboxOwner() = default;
  /// Once, when all folders were searched.
  virtual void isWatching() {}
  /// Brings the files in, which are complete. Those that are refused are not given again until they
  /// change; after an error all of them are. Known files cost little.
  virtual Done import(const std::vector<std::string>& files) = 0;
  /// A sentence for people. The same is told again only when it was over meanwhile.
  virtual void problem(const std::string& sentence) = 0;
};

/// Gives the owner all files in the folders, and from then on those that appear or change, until it
/// is stopped. Everything is called on this thread.
void watchFolders(const InboxOptions& options, InboxOwner& owner);

}  // namespace quorvin
