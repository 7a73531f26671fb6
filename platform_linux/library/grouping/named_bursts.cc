// Bursts whose members only their names tell.
#include <map>
#include <string>
#include <utility>

#include "platform_linux/library/grouping/grouping.h"
#include "platform_linux/library/values/pairing.h"

namespace quorvin {

void markBurstsByName(std::vector<Part>& parts, const Grouping& grouping) {
  std::map<std::pair<std::int64_t, std::string>, std::vector<Part*>> bursts;
  for (const std::vector<Role>& asset : grouping.assets) {
    Part& part = parts[asset.front().part];
    const std::string mark = burstMark(part.record.resource.name);
    const auto& probe = part.record.asset.probe;
    if (mark.empty() || probe.kind != MediaKind::image || !probe.burstIdentifier.empty() ||
        !part.record.asset.sourceFolder) {
      continue;
    }
    bursts[{*part.record.asset.sourceFolder, mark}].push_back(&part);
  }
  for (const auto& [place, members] : bursts) {
    if (members.size() < 2) continue;
    for (Part* member : members) {
      MediaProbe& probe = member->record.asset.probe;
      probe.burstIdentifier = burstIdentifierOf(place.first, place.second);
      probe.burstPrimary = isBurstCover(member->record.resource.name);
    }
  }
}

}  // namespace quorvin
