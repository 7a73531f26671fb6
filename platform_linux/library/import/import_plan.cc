#include "platform_linux/library/import/import_plan.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <utility>

#include "media_protocol/letter_case.h"
#include "platform_linux/library/values/pairing.h"

namespace quorvin {
namespace {

using Pairs = std::vector<std::optional<std::size_t>>;  // by file: its partner

bool isStill(const ImportFile& file) {
  return file.probe.kind == MediaKind::image;
}
bool isMovie(const ImportFile& file) {
  return file.probe.kind == MediaKind::video;
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
            !identifiersDiffer(files[still].probe.contentIdentifier,
                               files[movie].probe.contentIdentifier)) {
          pair(pairs, still, movie);
        }
      }
    }
  }
}

void markBurstsByName(std::vector<ImportFile>& files) {
  std::map<std::pair<std::string, std::string>, std::vector<ImportFile*>> groups;
  for (ImportFile& file : files) {
    const std::string mark = burstMark(file.name);
    if (!mark.empty() && isStill(file) && file.probe.burstIdentifier.empty()) {
      groups[{file.folder, mark}].push_back(&file);
    }
  }
  for (const auto& [place, members] : groups) {
    if (members.size() < 2) continue;
    for (ImportFile* member : members) {
      member->probe.burstIdentifier = burstIdentifierOf(place.first, place.second);
      member->probe.burstPrimary = isBurstCover(member->name);
    }
  }
}

}  // namespace

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

}  // namespace quorvin
