// Where the files of an asset stand in the folder that an export fills.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform_linux/library/export/export_folder.h"
#include "platform_linux/library/export/export_names.h"
#include "platform_linux/library/export/leaving_notes.h"

namespace quorvin {

/// One thread.
class AssetPlaces {
 public:
  /// Notes size and hash of the XMP that goes with the files; false when it cannot be made.
  using Tell = std::function<bool(const LeavingAsset& asset, const std::vector<PlacedFile>& files,
                                  ListedFile& xmp)>;
  AssetPlaces(ExportFolder& folder, Tell tell) : folder_(folder), tell_(std::move(tell)) {}

  /// Names the files, and the XMP, which comes last, by a stem that nobody else has in the entered
  /// folder: the one of an earlier export, `before`, or else the first that is free. What is there
  /// already is said.
  std::vector<PlacedFile> find(const LeavingAsset& asset, const std::string& folder,
                               std::vector<LeavingFile> files, const ListedAsset* before);

 private:
  std::optional<std::vector<PlacedFile>> places(const LeavingAsset& asset,
                                                const std::string& folder,
                                                const std::vector<LeavingFile>& files,
                                                const ListedAsset* before);
  bool isOurs(const LeavingAsset& asset, const std::vector<PlacedFile>& placed, PlacedFile& file,
              const ListedFile* known);

  ExportFolder& folder_;
  const Tell tell_;
};

}  // namespace quorvin
