#include "platform_linux/library/values/pairing.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <cstdio>

#include "media_protocol/letter_case.h"

namespace quorvin {

std::string nameStem(const std::string& name) {
  const std::size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::string lowerExtension(const std::string& name) {
  const std::size_t stem = nameStem(name).size();
  return stem == name.size() ? std::string() : lowerCase(name.substr(stem + 1));
}

bool namesMakeAPair(const std::string& still, const std::string& movie) {
  const std::string extension = lowerExtension(still);
  const bool isPhotoName = std::find(kPairedStillExtensions.begin(), kPairedStillExtensions.end(),
                                     extension) != kPairedStillExtensions.end();
  return isPhotoName && lowerExtension(movie) == kPairedMovieExtension &&
         lowerCase(nameStem(still)) == lowerCase(nameStem(movie));
}

bool identifiersDiffer(const std::string& one, const std::string& other) {
  return !one.empty() && !other.empty() && one != other;
}

std::string burstMark(const std::string& name) {
  constexpr std::string_view kMark = "_BURST";
  const std::size_t start = name.find(kMark);
  if (start == std::string::npos) return {};
  std::size_t end = start + kMark.size();
  while (end < name.size() && name[end] >= '0' && name[end] <= '9') ++end;
  return end == start + kMark.size() ? std::string() : name.substr(start, end - start);
}

bool isBurstCover(const std::string& name) {
  return name.find("_COVER") != std::string::npos;
}

std::string burstIdentifierOf(std::int64_t folder, const std::string& mark) {
  const std::string whole = std::to_string(folder) + "/" + mark;
  const XXH128_hash_t hash = XXH3_128bits(whole.data(), whole.size());
  std::array<char, 37> text;
  std::snprintf(
      text.data(), text.size(), "%08X-%04X-%04X-%04X-%012llX",
      static_cast<unsigned>(hash.high64 >> 32), static_cast<unsigned>(hash.high64 >> 16 & 0xFFFF),
      static_cast<unsigned>(hash.high64 & 0xFFFF), static_cast<unsigned>(hash.low64 >> 48),
      static_cast<unsigned long long>(hash.low64 & 0xFFFFFFFFFFFF));
  return text.data();
}

std::int64_t folderNumber(const std::string& folder) {
  return static_cast<std::int64_t>(XXH3_64bits(folder.data(), folder.size()));
}

}  // namespace quorvin
