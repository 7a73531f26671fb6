// The methods that export files.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "demo/calls.h"

namespace quorvin {

/// Identifiers of assets to export; what the library does not have is left out.
struct ExportSamples {
  std::optional<std::string> photo;
  std::optional<std::string> heicPhoto;
  std::optional<std::string> livePhoto;
  std::optional<std::string> video;  ///< one that does not take long
  std::optional<std::string> slowMotion;
};

/// Paths of files that were exported.
struct ExportedFiles {
  std::optional<std::string> image;
  std::optional<std::string> video;
};

/// Exports each sample in every way and prints what the files hold.
ExportedFiles showExports(Calls& calls, const ExportSamples& samples);

}  // namespace quorvin
