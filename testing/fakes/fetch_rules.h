// How fetch options act on assets and collections that are plain objects in memory.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "core/platform/photo_library.h"
#include "testing/fakes/event_log.h"

namespace quorvin {

using Assets = std::vector<std::shared_ptr<const PHAsset>>;
using Collections = std::vector<std::shared_ptr<const PHAssetCollection>>;

/// One line for the log: "none" for no options, else what differs from the defaults.
std::string describe(const PHFetchOptions* options);
/// "[a, b]"
std::string describe(std::span<const std::string> identifiers);

/// Those without a date first; ties stay as they are.
void sortByDate(Assets& assets);

/// Leaves out hidden assets and unpicked burst members where the options do, then filters, sorts
/// and limits. `assets` come in their own order. Only the predicate texts that this system uses are
/// known; another one, and an unknown sort key, is a misuse.
Assets applyToAssets(const PHFetchOptions* options, Assets assets, const OnMisuse& onMisuse);

/// Collections are only limited; a predicate or a sort is a misuse.
Collections applyToCollections(const PHFetchOptions* options, Collections collections,
                               const OnMisuse& onMisuse);

}  // namespace quorvin
