#include "platform_linux/library/grouping/neighbourhood.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>

#include "platform_linux/library/catalogue/family_rows.h"
#include "platform_linux/library/values/pairing.h"
#include "platform_linux/library/values/side_resources.h"

namespace quorvin {
namespace {

// Nothing that a camera makes has so many files; whoever makes as many alike waits for nobody.
constexpr std::size_t kMostParts = 4096;

MediaKind kindOf(PHAssetResourceType type) {
  using enum PHAssetResourceType;
  switch (type) {
    case photo:
    case alternatePhoto:
    case fullSizePhoto:
      return MediaKind::image;
    case audio:
      return MediaKind::audio;
    case adjustmentData:
      return MediaKind::side;
    default:
      return isUnseen(type) ? MediaKind::side : MediaKind::video;
  }
}

SideKind sideKindOf(PHAssetResourceType type) {
  if (type == PHAssetResourceType::adjustmentData) return SideKind::adjustment;
  if (type == kXmpFile) return SideKind::xmp;
  return type == kTakeoutFile ? SideKind::takeout : SideKind::none;
}

// Of an original that has no record: what the catalogue says of it.
OriginalRecord recordByRow(const HeldResource& held) {
  OriginalRecord record{held.asset, held.resource};
  MediaProbe& probe = record.asset.probe;
  probe.kind = kindOf(held.resource.type);
  probe.notes.kind = sideKindOf(held.resource.type);
  return record;
}

Part partOf(const LibraryFolder& folder, const HeldResource& held, std::int64_t row) {
  auto record = readRecord(folder, held.resource.path);
  const bool isRecorded = record.has_value();
  Part part = partOf(isRecorded ? *std::move(record) : recordByRow(held));
  const std::string name = part.record.resource.name;
  part.record.resource = held.resource;
  if (isRecorded) part.record.resource.name = name;
  part.type = held.resource.type;
  part.row = row;
  part.isWaiting = held.asset.probe.kind == MediaKind::side;
  if (!isRecorded && part.type == PHAssetResourceType::pairedVideo) {
    part.isEmbedded = lowerExtension(name) == "mp4";
  }
  // A burst by names is not in the record.
  MediaProbe& probe = part.record.asset.probe;
  if (part.type == PHAssetResourceType::photo && probe.burstIdentifier.empty()) {
    probe.burstIdentifier = held.asset.probe.burstIdentifier;
    probe.burstPrimary = held.asset.probe.burstPrimary;
  }
  return part;
}

class Search {
 public:
  Search(Database& database, const LibraryFolder& folder, std::vector<Part>& parts)
      : database_(database), folder_(folder), parts_(parts) {}

  void run(const std::vector<std::int64_t>& assets) {
    for (const std::int64_t asset : assets) visit(asset);
    for (std::size_t i = 0; i < parts_.size(); ++i) follow(i);
  }

 private:
  // Parts that are appended are followed in their turn.
  void follow(std::size_t index) {
    std::vector<std::int64_t> families;
    for (const std::int64_t family : parts_[index].families) {
      if (followed_.insert(family).second) families.push_back(family);
    }
    std::string content = parts_[index].record.asset.probe.contentIdentifier;
    if (!contents_.insert(content).second) content.clear();
    for (const std::int64_t asset : relatedAssets(database_, families, "")) visit(asset);
    if (content.empty()) return;
    const auto alike = relatedAssets(database_, {}, content);
    if (alike.size() > kMostOfOneContent) return;
    for (const std::int64_t asset : alike) visit(asset);
  }

  void visit(std::int64_t asset) {
    if (parts_.size() >= kMostParts || !visited_.insert(asset).second) return;
    const std::vector<HeldResource> held = resourcesOf(database_, asset);
    // What was saved by an application is an asset by itself.
    if (held.empty() || !held.front().asset.sourceFolder) return;
    const std::vector<std::int64_t> families = familiesOf(database_, asset);
    for (const HeldResource& each : held) {
      Part part = partOf(folder_, each, asset);
      if (!part.isEmbedded) {
        for (const std::int64_t family : families) {
          if (std::ranges::find(part.families, family) == part.families.end()) {
            part.families.push_back(family);
          }
        }
      }
      parts_.push_back(std::move(part));
    }
  }

  Database& database_;
  const LibraryFolder& folder_;
  std::vector<Part>& parts_;
  std::set<std::int64_t> visited_;
  std::set<std::int64_t> followed_;
  std::set<std::string> contents_{""};
};

}  // namespace

void appendNeighbours(Database& database, const LibraryFolder& folder, std::vector<Part>& parts,
                      const std::vector<std::int64_t>& assets) {
  Search(database, folder, parts).run(assets);
}

}  // namespace quorvin
