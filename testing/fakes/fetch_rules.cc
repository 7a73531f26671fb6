#include "testing/fakes/fetch_rules.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <optional>

namespace quorvin {
namespace {

using Condition = std::function<bool(const PHAsset&)>;

std::optional<Condition> conditionOf(const NSPredicate& predicate) {
  const std::vector<std::int32_t>& types = predicate.arguments;
  const std::string& format = predicate.format;
  const bool one = format == "mediaType = %d";
  const bool two = format == "mediaType == %d || mediaType == %d" ||
                   format == "mediaType = %d || mediaType = %d ";
  if (!(one && types.size() == 1) && !(two && types.size() == 2)) return std::nullopt;
  return [types](const PHAsset& asset) {
    return std::ranges::find(types, static_cast<std::int64_t>(asset.mediaType)) != types.end();
  };
}

bool isListedByDefault(const PHAsset& asset) {
  return !asset.burstIdentifier || asset.representsBurst ||
         (asset.burstSelectionTypes & PHAssetBurstSelectionType::userPick) != 0;
}

void sortByDate(Assets& assets, std::optional<NSDate> PHAsset::*date) {
  std::ranges::stable_sort(assets, [date](const auto& a, const auto& b) {
    const std::optional<NSDate>&x = (*a).*date, &y = (*b).*date;
    if (!x || !y) return !x && y.has_value();
    return x->timeIntervalSince1970() < y->timeIntervalSince1970();
  });
}

/// Descending is the exact mirror of ascending, ties included. No date comes before any date.
void sortBy(const NSSortDescriptor& descriptor, Assets& assets, const OnMisuse& onMisuse) {
  std::optional<NSDate> PHAsset::*date = nullptr;
  if (descriptor.key == "creationDate") date = &PHAsset::creationDate;
  if (descriptor.key == "modificationDate") date = &PHAsset::modificationDate;
  if (date == nullptr) {
    onMisuse("assets cannot be sorted by \"" + descriptor.key + "\"");
    return;
  }
  sortByDate(assets, date);
  if (!descriptor.ascending) std::ranges::reverse(assets);
}

template <class T>
void limit(std::vector<T>& objects, std::size_t fetchLimit) {
  if (fetchLimit != 0 && objects.size() > fetchLimit) objects.resize(fetchLimit);
}

}  // namespace

std::string describe(const PHFetchOptions* options) {
  if (options == nullptr) return "none";
  std::string text;
  const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
  if (options->predicate) {
    std::string predicate = "predicate \"" + options->predicate->format + "\"";
    for (const std::int32_t argument : options->predicate->arguments) {
      predicate.append(" ").append(std::to_string(argument));
    }
    add(predicate);
  }
  for (const NSSortDescriptor& descriptor : options->sortDescriptors) {
    add("sort " + descriptor.key + (descriptor.ascending ? " ascending" : " descending"));
  }
  if (options->fetchLimit != 0)
    add(std::string("limit ").append(std::to_string(options->fetchLimit)));
  if (options->includeHiddenAssets) add("hidden too");
  if (options->includeAllBurstAssets) add("all burst assets");
  return "{" + text + "}";
}

std::string describe(std::span<const std::string> identifiers) {
  std::string text;
  for (const std::string& each : identifiers) text += (text.empty() ? "" : ", ") + each;
  return "[" + text + "]";
}

void sortByDate(Assets& assets) {
  sortByDate(assets, &PHAsset::creationDate);
}

Assets applyToAssets(const PHFetchOptions* options, Assets assets, const OnMisuse& onMisuse) {
  static const PHFetchOptions defaults;
  if (options == nullptr) options = &defaults;
  if (!options->includeHiddenAssets) {
    std::erase_if(assets, [](const auto& asset) { return asset->isHidden; });
  }
  if (!options->includeAllBurstAssets) {
    std::erase_if(assets, [](const auto& asset) { return !isListedByDefault(*asset); });
  }
  if (options->predicate) {
    const auto condition = conditionOf(*options->predicate);
    if (condition) {
      std::erase_if(assets, [&condition](const auto& asset) { return !(*condition)(*asset); });
    } else {
      onMisuse("the predicate of " + describe(options) + " is not one of this system's");
    }
  }
  if (options->sortDescriptors.size() > 1) onMisuse("only one sort descriptor is known");
  for (const NSSortDescriptor& descriptor : options->sortDescriptors) {
    sortBy(descriptor, assets, onMisuse);
  }
  limit(assets, options->fetchLimit);
  return assets;
}

Collections applyToCollections(const PHFetchOptions* options, Collections collections,
                               const OnMisuse& onMisuse) {
  if (options == nullptr) return collections;
  if (options->predicate || !options->sortDescriptors.empty()) {
    onMisuse("collections cannot be fetched with " + describe(options));
  }
  limit(collections, options->fetchLimit);
  return collections;
}

}  // namespace quorvin
