#include "platform_linux/library/grouping/part.h"

#include <set>

#include "platform_linux/library/values/families.h"
#include "platform_linux/library/values/side_resources.h"

namespace quorvin {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

// The members of a large burst are one family, yet have little to do with each other.
std::set<std::string> stemsOf(const Part& part) {
  const std::string& name = part.record.resource.name;
  if (!part.isSideFile()) return {originalStem(name)};
  const SideNotes& notes = part.record.asset.probe.notes;
  std::set<std::string> stems;
  for (const SideTarget& target : targetsOf(name, notes)) {
    stems.insert(originalStem(target.isStem ? target.name + "." : target.name));
  }
  if (notes.exported) {
    for (const NotedPart& noted : notes.exported->parts) stems.insert(originalStem(noted.name));
  }
  return stems;
}

}  // namespace

PHAssetResourceType Part::typeAlone() const {
  switch (record.asset.probe.kind) {
    case MediaKind::video:
      return PHAssetResourceType::video;
    case MediaKind::audio:
      return PHAssetResourceType::audio;
    case MediaKind::image:
    case MediaKind::side:
      break;
  }
  return isEmbedded ? PHAssetResourceType::video : PHAssetResourceType::photo;
}

bool Part::mayBe(PHAssetResourceType as) const {
  switch (as) {
    case PHAssetResourceType::alternatePhoto:
    case PHAssetResourceType::fullSizePhoto:
    case PHAssetResourceType::adjustmentBasePhoto:
      return isStill();
    case PHAssetResourceType::pairedVideo:
    case PHAssetResourceType::fullSizeVideo:
    case PHAssetResourceType::fullSizePairedVideo:
    case PHAssetResourceType::adjustmentBasePairedVideo:
    case PHAssetResourceType::adjustmentBaseVideo:
      return isMovie();
    default:
      return isSideFile() && as == resourceTypeOf(record.asset.probe.notes.kind);
  }
}

Part partOf(OriginalRecord record) {
  Part part{.record = std::move(record), .families = {}, .row = std::nullopt, .type = {}};
  const NewAsset& asset = part.record.asset;
  part.type = part.record.resource.type;
  part.isEmbedded =
      part.type == PHAssetResourceType::pairedVideo && asset.probe.kind == MediaKind::image;
  if (asset.sourceFolder && !part.isEmbedded) {
    part.families =
        familyNumbers(*asset.sourceFolder, part.record.resource.name, asset.probe.notes);
  }
  return part;
}

bool areOfOneMoment(const Part& one, const Part& other) {
  const auto& first = one.record.asset.probe.creationDate;
  const auto& second = other.record.asset.probe.creationDate;
  return first && second && *first / kSecond == *second / kSecond;
}

PartIndex::PartIndex(const std::vector<Part>& parts) {
  for (std::size_t i = 0; i < parts.size(); ++i) {
    for (const std::int64_t family : parts[i].families) {
      for (const std::string& stem : stemsOf(parts[i])) families_[{family, stem}].push_back(i);
    }
    const std::string& content = parts[i].record.asset.probe.contentIdentifier;
    if (!content.empty()) contents_[content].push_back(i);
  }
}

const PartIndex::Members& PartIndex::members(std::int64_t family, const std::string& stem) const {
  static const Members kNone;
  const auto found = families_.find({family, stem});
  return found == families_.end() ? kNone : found->second;
}

}  // namespace quorvin
