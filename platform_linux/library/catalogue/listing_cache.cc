// A page of a long listing is found by its place, and to know the places one has to read the
// listing's row ids from their start. So they are kept, with the assets that were read of them.
// They hold for one version of the catalogue: the first listing that is stored of a newer one drops
// all others.
#include "platform_linux/library/catalogue/listing_cache.h"

#include <utility>

namespace quorvin {
namespace {

constexpr std::size_t kMostRowsListed = 8'000'000;  // 64 MB
constexpr std::size_t kMostEntries = 64;
constexpr std::size_t kMostAssets = 4096;  // of one listing; about 1 MB

}  // namespace

LoadedAssets::Assets LoadedAssets::find(IndexRange range) const {
  Assets assets(range.last - range.first);
  NSLockHolder holder(lock_);
  if (assets_.empty()) return assets;
  for (std::size_t i = range.first; i < range.last; ++i) {
    if (const auto found = assets_.find(i); found != assets_.end()) {
      assets[i - range.first] = found->second;
    }
  }
  return assets;
}

void LoadedAssets::store(IndexRange range, const Assets& assets) {
  if (assets.size() > kMostAssets) return;
  NSLockHolder holder(lock_);
  if (assets_.size() + assets.size() > kMostAssets) assets_.clear();
  for (std::size_t i = range.first; i < range.last; ++i) {
    assets_.insert_or_assign(i, assets[i - range.first]);
  }
}

std::shared_ptr<const Listing> ListingCache::find(std::int64_t version, const std::string& key,
                                                  std::size_t needed) {
  NSLockHolder holder(lock_);
  if (version == 0 || version != version_) return nullptr;
  const auto found = byKey_.find(key);
  if (found == byKey_.end()) return nullptr;
  entries_.splice(entries_.begin(), entries_, found->second);
  const auto& listing = found->second->listing;
  return listing->complete || listing->rows.size() >= needed ? listing : nullptr;
}

void ListingCache::store(std::int64_t version, const std::string& key,
                         std::shared_ptr<const Listing> listing) {
  if (version == 0 || listing->rows.size() > kMostRowsListed) return;
  NSLockHolder holder(lock_);
  if (version < version_) return;
  if (version > version_) {
    entries_.clear();
    byKey_.clear();
    rows_ = 0;
    version_ = version;
  }
  const auto drop = [this](std::list<Entry>::iterator entry) QUORVIN_REQUIRES(lock_) {
    rows_ -= entry->listing->rows.size();
    byKey_.erase(entry->key);
    entries_.erase(entry);
  };
  if (const auto old = byKey_.find(key); old != byKey_.end()) drop(old->second);
  rows_ += listing->rows.size();
  entries_.push_front({key, std::move(listing)});
  byKey_.emplace(key, entries_.begin());
  while (rows_ > kMostRowsListed || entries_.size() > kMostEntries) drop(std::prev(entries_.end()));
}

}  // namespace quorvin
