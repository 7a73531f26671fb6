#include "media_worker/probe/probe_name.h"

#include <algorithm>
#include <initializer_list>
#include <string>

#include "core/platform/photo_library.h"
#include "media_protocol/letter_case.h"

namespace quorvin {
namespace {

/// Tools separate words in many ways: they all become blanks.
std::string plainStem(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  std::string stem =
      lowerCase(dot == std::string_view::npos || dot == 0 ? name : name.substr(0, dot));
  std::replace(stem.begin(), stem.end(), '_', ' ');
  std::replace(stem.begin(), stem.end(), '-', ' ');
  return stem;
}

bool startsWithOneOf(std::string_view text, std::initializer_list<std::string_view> beginnings) {
  return std::any_of(beginnings.begin(), beginnings.end(),
                     [text](std::string_view beginning) { return text.starts_with(beginning); });
}

}  // namespace

std::uint64_t pictureNameSubtypes(std::string_view name, PictureFormat format) {
  if (format != PictureFormat::png && format != PictureFormat::jpeg) return 0;
  const std::string stem = plainStem(name);
  const bool screenshot = stem == "screenshot" || stem.starts_with("screenshot ");
  return screenshot ? PHAssetMediaSubtype::photoScreenshot : 0;
}

std::uint64_t videoNameSubtypes(std::string_view name) {
  const std::string stem = plainStem(name);
  std::uint64_t bits = 0;
  if (startsWithOneOf(stem, {"timelapse", "time lapse"})) {
    bits |= PHAssetMediaSubtype::videoTimelapse;
  }
  if (startsWithOneOf(stem, {"screencast", "screen recording", "screenrecord"})) {
    bits |= PHAssetMediaSubtype::videoScreenRecording;
  }
  return bits;
}

}  // namespace quorvin
