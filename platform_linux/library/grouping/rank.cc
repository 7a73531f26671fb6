#include "platform_linux/library/grouping/rank.h"

#include <algorithm>

#include "platform_linux/library/values/pairing.h"

namespace quorvin {
namespace {

// Added so long after one another, files hardly came together.
constexpr std::uint64_t kOneImport = 600'000'000'000;

std::int64_t momentOf(const Part& part) {
  return part.record.asset.probe.creationDate.value_or(part.record.asset.modified);
}

std::uint64_t timeBetween(std::int64_t one, std::int64_t other) {
  const auto [least, most] = std::minmax(one, other);
  return static_cast<std::uint64_t>(most) - static_cast<std::uint64_t>(least);
}

}  // namespace

int preference(const Part& still) {
  const std::string extension = lowerExtension(still.record.resource.name);
  return extension == "heic" || extension == "heif" ? 0 : 1;
}

Rank rankOf(int fit, const Part& main, const Part& part, bool areTogether) {
  const std::uint64_t apart = timeBetween(main.record.asset.added, part.record.asset.added);
  return {fit,
          preference(main),
          main.record.resource.name,
          part.record.resource.name,
          !areTogether,
          apart > kOneImport,
          timeBetween(momentOf(main), momentOf(part)),
          apart,
          main.record.resource.hash,
          part.record.resource.hash};
}

}  // namespace quorvin
