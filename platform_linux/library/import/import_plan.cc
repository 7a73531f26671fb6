#include "platform_linux/library/import/import_plan.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <unordered_map>
#include <utility>

namespace quorvin {
namespace {

using Pairs = std::vector<std::optional<std::size_t>>;  // by file: its partner

bool isStill(const ImportFile& file) {
  return file.probe.kind == MediaKind::image;
}
bool isMovie(const ImportFile& file) {
  return file.probe.kind == MediaKind::video;
}

bool identifiersDiffer(const ImportFile& one, const ImportFile& other) {
  return !one.probe.contentIdentifier.empty() && !other.probe.contentIdentifier.empty() &&
         one.probe.contentIdentifier != other.probe.contentIdentifier;
}

void pair(Pairs& pairs, std::size_t still, std::size_t movie) {
  pairs[still] = movie;
  pairs[movie] = still;
}

// Of several stills for one movie the HEIC one takes it.
bool comesFirst(const ImportFile& one, const ImportFile& other) {
  const auto isHeic = [](const ImportFile& file) {
    const std::string extension = lowerExtension(file.name);
    return extension == "heic" || extension == "heif";
  };
  return isHeic(one) && !isHeic(other);
}

void pairByContentIdentifier(const std::vector<ImportFile>& files, Pairs& pairs) {
  std::map<std::string, std::pair<std::vector<std::size_t>, std::vector<std::size_t>>> groups;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::string& identifier = files[i].probe.contentIdentifier;
    if (identifier.empty()) continue;
    if (isStill(files[i])) groups[identifier].first.push_back(i);
    if (isMovie(files[i])) groups[identifier].second.push_back(i);
  }
  for (auto& [identifier, group] : groups) {
    auto& [stills, movies] = group;
    std::stable_sort(stills.begin(), stills.end(), [&files](std::size_t a, std::size_t b) {
      return comesFirst(files[a], files[b]);
    });
    // Those in one folder belong together before others do.
    for (const bool sameFolder : {true, false}) {
      for (const std::size_t still : stills) {
        for (const std::size_t movie : movies) {
          if (pairs[still] || pairs[movie]) continue;
          if (sameFolder && files[still].folder != files[movie].folder) continue;
          pair(pairs, still, movie);
        }
      }
    }
  }
}

void pairByName(const std::vector<ImportFile>& files, Pairs& pairs) {
  std::unordered_map<std::string, std::vector<std::size_t>> groups;
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (pairs[i] || (!isStill(files[i]) && !isMovie(files[i]))) continue;
    groups[files[i].folder + "/" + lowerCase(nameStem(files[i].name))].push_back(i);
  }
  for (auto& [stem, group] : groups) {
    std::stable_sort(group.begin(), group.end(), [&files](std::size_t a, std::size_t b) {
      return comesFirst(files[a], files[b]);
    });
    for (const std::size_t still : group) {
      for (const std::size_t movie : group) {
        if (pairs[still] || pairs[movie] || !isStill(files[still]) || !isMovie(files[movie])) {
          continue;
        }
        if (namesMakeAPair(files[still].name, files[movie].name) &&
            !identifiersDiffer(files[still], files[movie])) {
          pair(pairs, still, movie);
        }
      }
    }
  }
}

// "_BURST" and the digits after it; empty when the name has no such part.
std::string burstToken(const std::string& name) {
  constexpr std::string_view kMark = "_BURST";
  const std::size_t start = name.find(kMark);
  if (start == std::string::npos) return {};
  std::size_t end = start + kMark.size();
  while (end < name.size() && name[end] >= '0' && name[end] <= '9') ++end;
  return end == start + kMark.size() ? std::string() : name.substr(start, end - start);
}

// The same each time for one folder and token, so that later members join.
std::string burstIdentifier(const std::string& folderAndToken) {
  const XXH128_hash_t hash = XXH3_128bits(folderAndToken.data(), folderAndToken.size());
  std::array<char, 37> text;
  std::snprintf(
      text.data(), text.size(), "%08X-%04X-%04X-%04X-%012llX",
      static_cast<unsigned>(hash.high64 >> 32), static_cast<unsigned>(hash.high64 >> 16 & 0xFFFF),
      static_cast<unsigned>(hash.high64 & 0xFFFF), static_cast<unsigned>(hash.low64 >> 48),
      static_cast<unsigned long long>(hash.low64 & 0xFFFFFFFFFFFF));
  return text.data();
}

void markBurstsByName(std::vector<ImportFile>& files) {
  std::map<std::string, std::vector<ImportFile*>> groups;
  for (ImportFile& file : files) {
    const std::string token = burstToken(file.name);
    if (!token.empty() && isStill(file) && file.probe.burstIdentifier.empty()) {
      groups[file.folder + "/" + token].push_back(&file);
    }
  }
  for (const auto& [token, members] : groups) {
    if (members.size() < 2) continue;
    for (ImportFile* member : members) {
      member->probe.burstIdentifier = burstIdentifier(token);
      member->probe.burstPrimary = member->name.find("_COVER") != std::string::npos;
    }
  }
}

}  // namespace

std::string lowerCase(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

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
  const bool isPhotoName =
      extension == "heic" || extension == "heif" || extension == "jpg" || extension == "jpeg";
  return isPhotoName && lowerExtension(movie) == "mov" &&
         lowerCase(nameStem(still)) == lowerCase(nameStem(movie));
}

std::vector<ImportUnit> planImport(std::vector<ImportFile>& files) {
  Pairs pairs(files.size());
  pairByContentIdentifier(files, pairs);
  pairByName(files, pairs);
  markBurstsByName(files);

  std::vector<ImportUnit> units;
  units.reserve(files.size());
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (pairs[i] && isMovie(files[i])) continue;  // comes with its still
    units.push_back({.main = i, .pairedVideo = pairs[i]});
  }
  return units;
}

bool belongTogether(const std::string& folder, const std::string& name,
                    const std::string& nextFolder, const std::string& nextName) {
  if (folder != nextFolder) return false;
  const std::string token = burstToken(name);
  return lowerCase(nameStem(name)) == lowerCase(nameStem(nextName)) ||
         (!token.empty() && token == burstToken(nextName));
}

std::int64_t folderNumber(const std::string& folder) {
  return static_cast<std::int64_t>(XXH3_64bits(folder.data(), folder.size()));
}

}  // namespace quorvin
