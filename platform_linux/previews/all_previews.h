// All previews of a library at once, for its owner.
#pragma once

#include <cstddef>
#include <optional>
#include <stop_token>
#include <string>

#include "platform_linux/errors/failure.h"

namespace quorvin {

class MediaService;

struct AllPreviews {
  std::size_t made = 0;        ///< pictures that got previews
  std::size_t there = 0;       ///< pictures that had them
  std::size_t impossible = 0;  ///< pictures that can have none
  std::size_t failed = 0;      ///< pictures that could not be read or rendered this time
};

/// Hears how far it is, on any thread, one call at a time.
class PreviewObserver {
 public:
  virtual ~PreviewObserver() = default;
  /// Once, first.
  virtual void picturesFound(std::size_t total) = 0;
  virtual void pictureDone() = 0;
};

/// Makes what is missing, on so many threads: of the assets that were added last, if so many are
/// given, or else of all. A missing library is an error, and so is a disk that is nearly full; what
/// was made stays, also when it is stopped.
Result<AllPreviews> makeAllPreviews(const std::string& libraryPath, MediaService& media,
                                    std::size_t threads, PreviewObserver& observer,
                                    std::optional<std::size_t> latest = std::nullopt,
                                    const std::stop_token& stop = {});

}  // namespace quorvin
