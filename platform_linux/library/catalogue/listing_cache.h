// Orders of assets that were read lately, so that the next page need not find its place anew.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/platform/lock.h"
#include "core/platform/photo_library.h"

namespace quorvin {

/// The assets of a listing that were read already, by their place. A few thousand are kept. Any
/// thread.
class LoadedAssets {
 public:
  using Assets = PHFetchResult<PHAsset>::Objects;

  /// The assets of `range`; null where one was not read.
  Assets find(IndexRange range) const;
  void store(IndexRange range, const Assets& assets);

 private:
  mutable NSLock lock_;
  std::unordered_map<std::size_t, Assets::value_type> assets_ QUORVIN_GUARDED_BY(lock_);
};

/// Row ids in the order of a listing: all of them, or the first ones.
struct Listing {
  std::vector<std::int64_t> rows;
  bool complete = false;
  mutable LoadedAssets loaded;
};

/// Keeps listings of the newest state of the catalogue only, and the last used of these. Any
/// thread.
class ListingCache {
 public:
  /// The listing that was stored under the key for this version. Null when there is none, or it
  /// holds fewer than `needed` rows and is not complete.
  std::shared_ptr<const Listing> find(std::int64_t version, const std::string& key,
                                      std::size_t needed);
  /// `version` was current when the listing was read, or older.
  void store(std::int64_t version, const std::string& key, std::shared_ptr<const Listing> listing);

 private:
  struct Entry {
    std::string key;
    std::shared_ptr<const Listing> listing;
  };

  NSLock lock_;
  std::int64_t version_ QUORVIN_GUARDED_BY(lock_) = 0;
  std::size_t rows_ QUORVIN_GUARDED_BY(lock_) = 0;
  std::list<Entry> entries_ QUORVIN_GUARDED_BY(lock_);  // the last used first
  std::unordered_map<std::string, std::list<Entry>::iterator> byKey_ QUORVIN_GUARDED_BY(lock_);
};

}  // namespace quorvin
