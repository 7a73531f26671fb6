#include "platform_linux/library/grouping/composition.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <utility>

#include "platform_linux/library/values/pairing.h"
#include "platform_linux/videos/slow_motion.h"

namespace quorvin {
namespace {

using Type = PHAssetResourceType;

const Part* find(const std::vector<Part>& parts, const std::vector<Role>& roles, Type type) {
  for (const Role& role : roles) {
    if (role.type == type) return &parts[role.part];
  }
  return nullptr;
}

// Renderings and adjustments are called alike whatever their files were called.
std::string shownName(Type type, const std::string& name) {
  switch (type) {
    case Type::fullSizePhoto:
    case Type::fullSizeVideo:
    case Type::fullSizePairedVideo: {
      const std::string extension = lowerExtension(name);
      return "FullSizeRender" + (extension.empty() ? "" : "." + extension);
    }
    case Type::adjustmentData:
      return "Adjustments.plist";
    default:
      return name;
  }
}

// An export numbers files that would be called alike.
const std::string& nameBefore(const std::string& name, const ExportedNotes* notes) {
  if (notes == nullptr) return name;
  const auto noted = std::ranges::find(notes->parts, name, &NotedPart::name);
  return noted == notes->parts.end() || noted->was.empty() ? name : noted->was;
}

// Programs write XMP files again and again: the newest ones come first.
std::vector<const Part*> sideFiles(const std::vector<Part>& parts, const std::vector<Role>& roles) {
  std::vector<const Part*> sides;
  for (const Role& role : roles) {
    if (parts[role.part].isSideFile()) sides.push_back(&parts[role.part]);
  }
  std::ranges::stable_sort(sides, std::greater(),
                           [](const Part* side) { return side->record.asset.modified; });
  return sides;
}

const ExportedNotes* exportedNotes(const std::vector<Part>& parts, const std::vector<Role>& roles) {
  for (const Part* side : sideFiles(parts, roles)) {
    const auto& notes = side->record.asset.probe.notes;
    if (notes.exported) return &*notes.exported;
  }
  return nullptr;
}

// Of the first file that tells: the raw one beside a photo, then side files. What an export says
// comes before what the files say.
std::optional<std::int64_t> dateOf(const std::vector<Part>& parts, const std::vector<Role>& roles) {
  const auto sides = sideFiles(parts, roles);
  for (const Part* side : sides) {
    const MediaProbe& probe = side->record.asset.probe;
    if (probe.notes.exported && probe.creationDate) return probe.creationDate;
  }
  const Part* alternate = find(parts, roles, Type::alternatePhoto);
  std::optional<std::int64_t> date = parts[roles.front().part].record.asset.probe.creationDate;
  if (!date && alternate != nullptr) date = alternate->record.asset.probe.creationDate;
  for (const SideKind kind : {SideKind::xmp, SideKind::takeout}) {
    for (const Part* side : sides) {
      const MediaProbe& probe = side->record.asset.probe;
      if (!date && probe.notes.kind == kind) date = probe.creationDate;
    }
  }
  return date;
}

}  // namespace

Composition compose(const std::vector<Part>& parts, const std::vector<Role>& roles) {
  const Part& main = parts[roles.front().part];
  Composition made{.asset = main.record.asset, .isLive = false, .timeMap = {}, .resources = {}};
  NewAsset& asset = made.asset;
  MediaProbe& probe = asset.probe;
  if (main.isEmbedded) probe.kind = MediaKind::video;
  probe.creationDate = dateOf(parts, roles).value_or(main.record.asset.modified);

  const bool isVideo = probe.kind == MediaKind::video;
  const Part* rendering = find(parts, roles, isVideo ? Type::fullSizeVideo : Type::fullSizePhoto);
  if (rendering != nullptr) {
    const MediaProbe& shown = rendering->record.asset.probe;
    probe.pixelWidth = shown.pixelWidth;
    probe.pixelHeight = shown.pixelHeight;
    probe.duration = shown.duration;
    asset.modified = rendering->record.asset.modified;
  } else if (isVideo) {
    made.timeMap = slowMotionTimeMap(probe);
  }
  const Part* movie = find(parts, roles, Type::pairedVideo);
  made.isLive = movie != nullptr && &parts[roles.front().part] != movie;
  if (movie != nullptr && probe.contentIdentifier.empty()) {
    probe.contentIdentifier = movie->record.asset.probe.contentIdentifier;
  }
  const Part* alternate = find(parts, roles, Type::alternatePhoto);
  probe.raw = probe.raw || (alternate != nullptr && alternate->record.asset.probe.raw);
  if (const ExportedNotes* notes = exportedNotes(parts, roles)) {
    asset.modified = notes->modified.value_or(asset.modified);
    probe.burstIdentifier = notes->burstIdentifier;
    probe.burstPrimary = notes->burstPrimary;
  }
  for (const Role& role : roles) {
    NewResource resource = parts[role.part].record.resource;
    resource.type = role.type;
    resource.name = shownName(role.type, nameBefore(resource.name, exportedNotes(parts, roles)));
    made.resources.push_back(std::move(resource));
  }
  return made;
}

SideFacts factsOf(const Part& sideFile) {
  const SideNotes& notes = sideFile.record.asset.probe.notes;
  SideFacts facts{.marks = {.favorite = notes.favorite,
                            .hidden = false,
                            .burstSelection = {},
                            .represents = {}},
                  .albums = {}};
  if (!notes.exported) return facts;
  facts.marks.hidden = notes.exported->hidden;
  facts.albums = notes.exported->albums;
  if (!notes.exported->burstIdentifier.empty()) {
    facts.marks.burstSelection = notes.exported->burstSelection;
    facts.marks.represents = notes.exported->represents;
  }
  return facts;
}

}  // namespace quorvin
