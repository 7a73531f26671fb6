// What changed in a library, for those who watch it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorvin {

/// The commits since the last one that was told, as far as the watching program may see the
/// library. An asset is in at most one list; hidden assets and all burst members count.
struct LibraryChange {
  /// As long as each list of assets can be.
  static constexpr std::size_t kMostAssets = 1000;

  std::int64_t sequence = 0;  ///< rises with each change that is told
  std::vector<std::string> inserted;
  std::vector<std::string> changed;
  std::vector<std::string> removed;
  /// Of which the title or the existence changed, or what a fetch with default options finds.
  std::vector<std::string> galleries;
  bool complete = true;  ///< false: there was more than the lists tell
};

/// Watches from its making to its end.
class LibraryWatch {
 public:
  virtual ~LibraryWatch() = default;
  /// The change that is ready, if there is one. Until it is taken nothing more becomes ready: what
  /// is committed meanwhile comes together in the next one.
  virtual std::optional<LibraryChange> take() = 0;
};

}  // namespace quorvin
