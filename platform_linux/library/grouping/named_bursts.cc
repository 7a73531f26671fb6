// Bursts whose members only their names tell.
#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "platform_linux/library/grouping/grouping.h"
#include "platform_linux/library/values/pairing.h"

namespace quorvin {
namespace {

using Members = std::vector<Part*>;

MediaProbe& probeOf(Part* member) {
  return member->record.asset.probe;
}

// That of the burst as it is stored, if there is one: earlier versions made others of the same
// name.
std::string identifierOf(const Members& members, std::int64_t folder, const std::string& mark) {
  std::string found = burstIdentifierOf(folder, mark);
  const auto has = [&found](Part* member) { return probeOf(member).burstIdentifier == found; };
  if (std::ranges::any_of(members, has)) return found;
  const auto stored = std::ranges::find_if(
      members, [](Part* member) { return !probeOf(member).burstIdentifier.empty(); });
  return stored == members.end() ? found : probeOf(*stored).burstIdentifier;
}

}  // namespace

void markBurstsByName(std::vector<Part>& parts, const Grouping& grouping) {
  std::map<std::pair<std::int64_t, std::string>, Members> bursts;
  for (const std::vector<Role>& asset : grouping.assets) {
    Part& part = parts[asset.front().part];
    const std::string mark = burstMark(part.record.resource.name);
    const auto& folder = part.record.asset.sourceFolder;
    if (!mark.empty() && part.isStill() && folder) bursts[{*folder, mark}].push_back(&part);
  }
  for (const auto& [place, members] : bursts) {
    if (members.size() < 2) continue;
    const std::string identifier = identifierOf(members, place.first, place.second);
    for (Part* member : members) {
      if (!probeOf(member).burstIdentifier.empty()) continue;
      probeOf(member).burstIdentifier = identifier;
      probeOf(member).burstPrimary = isBurstCover(member->record.resource.name);
    }
  }
}

}  // namespace quorvin
