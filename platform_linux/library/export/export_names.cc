#include "platform_linux/library/export/export_names.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <set>

#include "core/platform/asset_resources.h"
#include "media_protocol/letter_case.h"
#include "platform_linux/library/import/file_walk.h"
#include "platform_linux/library/values/pairing.h"
#include "platform_linux/library/values/side_resources.h"

namespace quorvin {
namespace {

/// Bytes of a stem and of an extension with its dot. With what is put behind them a name stays
/// within 255.
constexpr std::size_t kLongestStem = 180;
constexpr std::size_t kLongestExtension = 17;

constexpr std::int64_t numberOf(PHAssetResourceType type) {
  return static_cast<std::int64_t>(type);
}

std::string withSafeCharacters(std::string_view name) {
  constexpr std::string_view kUnsafe = "/\\:*?\"<>|";
  std::string safe(name);
  for (char& c : safe) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < ' ' || byte == 0x7F || kUnsafe.find(c) != kUnsafe.npos) c = '_';
  }
  return safe;
}

std::string cutTo(std::string text, std::size_t size) {
  if (text.size() <= size) return text;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  text.resize(size);
  return text;
}

/// Neither hidden, nor with an end that some file systems drop.
std::string withSafeEnds(std::string name) {
  if (name.empty()) return "_";
  if (name.front() == '.' || name.front() == ' ') name.front() = '_';
  if (name.back() == '.' || name.back() == ' ') name.back() = '_';
  return name;
}

/// With its dot; empty when there is none, or none that could be one.
std::string extensionOf(const std::string& name) {
  const std::string extension = name.substr(nameStem(name).size());
  return extension.size() <= kLongestExtension && extension.size() > 1 ? extension : "";
}

/// What is shown in place of the original: how another program would name it that takes files off
/// a camera.
std::string editedStem(const std::string& stem) {
  constexpr std::string_view kCamera = "IMG_";
  const std::string digits = stem.starts_with(kCamera) ? stem.substr(kCamera.size()) : "";
  const bool isNumber =
      !digits.empty() && std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; });
  return isNumber ? "IMG_E" + digits : stem + " (edited)";
}

bool isEdited(std::int64_t type) {
  return type == numberOf(PHAssetResourceType::fullSizePhoto) ||
         type == numberOf(PHAssetResourceType::fullSizeVideo) ||
         type == numberOf(PHAssetResourceType::fullSizePairedVideo);
}

bool isOriginal(std::int64_t type) {
  return (type >= 1 && type <= 4) || type == numberOf(PHAssetResourceType::pairedVideo);
}

std::string ownName(const LeavingFile& file, const std::string& stem, const std::string& first) {
  const std::string extension = extensionOf(withSafeCharacters(file.resource->name));
  if (file.type == numberOf(kTakeoutFile)) return first + ".json";
  if (file.type == numberOf(PHAssetResourceType::adjustmentData)) {
    return stem + ".AAE";
  }
  if (isEdited(file.type)) return editedStem(stem) + extension;
  if (isOriginal(file.type)) return stem + extension;
  return stem + " (base)" + extension;
}

/// A rendering has no name of its own.
std::string shownName(const LeavingAsset& asset, const LeavingResource& shown) {
  if (!isEdited(shown.type)) return shown.name;
  for (const LeavingResource& resource : asset.resources) {
    if (isOriginal(resource.type)) return nameStem(resource.name) + extensionOf(shown.name);
  }
  return shown.name;
}

std::vector<LeavingFile> currentFiles(const LeavingAsset& asset) {
  constexpr std::pair<PHAssetResourceType, PHAssetResourceType> kShown[] = {
      {PHAssetResourceType::fullSizePhoto, PHAssetResourceType::photo},
      {PHAssetResourceType::fullSizeVideo, PHAssetResourceType::video},
      {PHAssetResourceType::audio, PHAssetResourceType::audio},
      {PHAssetResourceType::fullSizePairedVideo, PHAssetResourceType::pairedVideo},
  };
  std::vector<LeavingFile> files;
  for (const auto& [edited, original] : kShown) {
    for (const PHAssetResourceType type : {edited, original}) {
      const auto found = std::ranges::find(asset.resources, numberOf(type), &LeavingResource::type);
      if (found == asset.resources.end()) continue;
      files.push_back({&*found, numberOf(original), shownName(asset, *found), ""});
      break;
    }
  }
  return files;
}

}  // namespace

std::string safeFileName(std::string_view name) {
  const std::string safe = withSafeEnds(withSafeCharacters(name));
  const std::string extension = extensionOf(safe);
  const std::string stem = safe.substr(0, safe.size() - extension.size());
  std::string result = withSafeEnds(cutTo(stem, kLongestStem)) + extension;
  return isPassedOver(result, false) ? "_" + result : result;
}

std::string safeFolderName(std::string_view title) {
  const std::string name = withSafeEnds(cutTo(withSafeCharacters(title), kLongestStem));
  return isPassedOver(name, true) ? name + "_" : name;
}

std::string dateFolder(std::optional<std::int64_t> created) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  constexpr const char* kDateless = "no date";
  if (!created) return kDateless;
  const auto seconds = static_cast<std::time_t>(*created / kSecond - (*created % kSecond < 0));
  struct tm local = {};
  std::array<char, 32> text{};
  if (::localtime_r(&seconds, &local) == nullptr) return kDateless;
  return {text.data(), std::strftime(text.data(), text.size(), "%Y/%m", &local)};
}

std::vector<LeavingFile> leavingFiles(const LeavingAsset& asset, ExportParts parts) {
  if (parts == ExportParts::current) return currentFiles(asset);
  std::vector<LeavingFile> files;
  for (const LeavingResource& resource : asset.resources) {
    if (resource.type == numberOf(kXmpFile)) continue;
    if (parts == ExportParts::original && !isOriginal(resource.type)) continue;
    files.push_back({&resource, resource.type, resource.name, ""});
  }
  const auto first = std::ranges::find_if(
      files, [](const LeavingFile& file) { return file.type >= 1 && file.type <= 3; });
  if (first != files.end()) std::rotate(files.begin(), first, first + 1);
  return files;
}

std::string leavingStem(const std::vector<LeavingFile>& files) {
  const std::string name = safeFileName(files.front().was);
  return name.substr(0, name.size() - extensionOf(name).size());
}

void nameFiles(std::vector<LeavingFile>& files, const std::string& stem) {
  std::set<std::string> taken;
  for (LeavingFile& file : files) {
    const std::string name = ownName(file, stem, files.front().name);
    const std::string extension = extensionOf(name);
    file.name = name;
    for (int number = 2; !taken.insert(lowerCase(file.name)).second; ++number) {
      file.name =
          name.substr(0, name.size() - extension.size()) + "-" + std::to_string(number) + extension;
    }
  }
}

std::string numberedStem(const std::string& stem, int number) {
  return number == 1 ? stem : stem + " (" + std::to_string(number) + ")";
}

std::string sharedStem(const std::string& name) {
  std::string stem = nameStem(name);
  const std::string extension = lowerExtension(name);
  if (extension == "xmp" || extension == "json") stem = nameStem(stem);
  return lowerCase(stem);
}

}  // namespace quorvin
