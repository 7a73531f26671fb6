// A file that an asset can be made of.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/platform/asset_resources.h"
#include "platform_linux/library/originals/original_record.h"

namespace quorvin {

/// A file that is, or is about to be, an original.
struct Part {
  OriginalRecord record;
  std::vector<std::int64_t> families;
  /// The asset that has it at present, if any, and as what.
  std::optional<std::int64_t> row;
  PHAssetResourceType type = PHAssetResourceType::photo;
  /// The asset is there for it alone, and waits for its photo or video.
  bool isWaiting = false;
  /// A movie that was cut out of a photo, which has the same identifier.
  bool isEmbedded = false;

  /// As what it is in an asset that it makes by itself.
  PHAssetResourceType typeAlone() const;
  /// Whether it can be that of an asset whose main file is another one.
  bool mayBe(PHAssetResourceType as) const;
  bool isSideFile() const { return record.asset.probe.kind == MediaKind::side; }
  bool isStill() const { return record.asset.probe.kind == MediaKind::image && !isEmbedded; }
  bool isMovie() const { return record.asset.probe.kind == MediaKind::video; }
};

/// A file that is no part of an asset yet. A record of a movie that was cut out says so.
Part partOf(OriginalRecord record);

/// No camera gives one content identifier to more files.
inline constexpr std::size_t kMostOfOneContent = 256;

/// Both tell when they were taken, and it is the same second.
bool areOfOneMoment(const Part& one, const Part& other);

/// Parts by what they may have in common. The parts outlive it.
class PartIndex {
 public:
  using Members = std::vector<std::size_t>;
  explicit PartIndex(const std::vector<Part>& parts);

  /// By family and, within it, by the stem of the original's name.
  const std::map<std::pair<std::int64_t, std::string>, Members>& families() const {
    return families_;
  }
  const Members& members(std::int64_t family, const std::string& stem) const;
  /// By what cameras write into both halves of a live photo.
  const std::map<std::string, Members>& contents() const { return contents_; }

 private:
  std::map<std::pair<std::int64_t, std::string>, Members> families_;
  std::map<std::string, Members> contents_;
};

}  // namespace quorvin
