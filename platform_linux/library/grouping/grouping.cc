#include "platform_linux/library/grouping/grouping.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "media_protocol/letter_case.h"
#include "platform_linux/library/grouping/rank.h"
#include "platform_linux/library/values/families.h"
#include "platform_linux/library/values/pairing.h"
#include "platform_linux/library/values/side_resources.h"

namespace quorvin {
namespace {

using Type = PHAssetResourceType;
using Index = std::size_t;

constexpr std::array<std::string_view, 5> kPhotosOfRaw = {"jpg", "jpeg", "heic", "heif", "hif"};

class Grouper {
 public:
  explicit Grouper(const std::vector<Part>& parts)
      : parts_(parts), index_(parts), owner_(parts.size()), type_(parts.size()) {}

  Grouping run() {
    joinEmbedded();
    joinNoted();
    joinInFamilies(&Grouper::rawMatch, Type::alternatePhoto);
    joinInFamilies(&Grouper::renderingMatch, Type::fullSizePhoto);
    findEditedMovies();
    joinByContent();
    joinInFamilies(&Grouper::liveMatch, Type::pairedVideo);
    joinEditedMovies();
    joinInFamilies(&Grouper::adjustmentMatch, Type::adjustmentData);
    joinInFamilies(&Grouper::sideMatch, std::nullopt);
    keepSideFiles();
    return result();
  }

 private:
  struct Match {
    Rank rank;
    Index main;
    Index part;
  };
  using Matcher = std::optional<int> (Grouper::*)(Index main, Index part) const;

  const MediaProbe& probe(Index i) const { return parts_[i].record.asset.probe; }
  const std::string& name(Index i) const { return parts_[i].record.resource.name; }
  bool isStill(Index i) const { return parts_[i].isStill(); }
  bool isMovie(Index i) const { return parts_[i].isMovie(); }
  bool isOwned(Index i) const { return owner_[i].has_value(); }
  bool isFree(Index i) const { return !isOwned(i) && !isMain_.contains(i); }
  bool hasSlot(Index main, Type type) const { return !slots_.contains({main, type}); }
  bool areTogether(Index main, Index part) const {
    const auto rows = rows_.find(main);
    return parts_[part].row && (parts_[main].row == parts_[part].row ||
                                (rows != rows_.end() && rows->second.contains(*parts_[part].row)));
  }
  bool haveOneStem(Index one, Index other) const {
    return lowerCase(nameStem(name(one))) == lowerCase(nameStem(name(other)));
  }
  bool isOfOneMoment(Index one, Index other) const {
    return areOfOneMoment(parts_[one], parts_[other]);
  }
  void join(Index part, Index main, Type type) {
    owner_[part] = main;
    type_[part] = type;
    isMain_.insert(main);
    if (parts_[part].row) rows_[main].insert(*parts_[part].row);
    if (!isUnseen(type)) slots_.emplace(main, type);
  }

  // A movie that was cut out of a photo stays with it, and keeps others away.
  void joinEmbedded() {
    for (Index i = 0; i < parts_.size(); ++i) {
      if (!parts_[i].isEmbedded) continue;
      for (Index photo = 0; photo < parts_.size(); ++photo) {
        if (photo != i && !parts_[photo].isEmbedded &&
            parts_[photo].record.asset.identifier == parts_[i].record.asset.identifier) {
          join(i, photo, Type::pairedVideo);
          break;
        }
      }
    }
  }

  // What an export says of its own files holds before anything else.
  void joinNoted() {
    for (Index side = 0; side < parts_.size(); ++side) {
      const auto& notes = probe(side).notes;
      if (!parts_[side].isSideFile() || !notes.exported || isOwned(side)) continue;
      std::optional<Index> main;
      for (const NotedPart& noted : notes.exported->parts) {
        const auto part = findNoted(side, noted.name);
        const auto type = static_cast<Type>(noted.type);
        if (!part || part == main) continue;
        if (!main && !parts_[*part].isSideFile()) {
          main = part;
          isMain_.insert(*part);
          isNoted_.insert(*part);
        } else if (main && isFree(*part) && parts_[*part].mayBe(type) && hasSlot(*main, type)) {
          join(*part, *main, type);
        }
      }
      if (main) join(side, *main, kXmpFile);
    }
  }

  std::optional<Index> findNoted(Index side, const std::string& wanted) const {
    for (const std::int64_t family : parts_[side].families) {
      for (const Index i : index_.members(family, originalStem(wanted))) {
        if (i != side && !isOwned(i) && !isNoted_.contains(i) && !parts_[i].isEmbedded &&
            name(i) == wanted) {
          return i;
        }
      }
    }
    return std::nullopt;
  }

  // What was named in an export belongs to nothing else.
  bool mayBeMain(Index i) const { return !isOwned(i) && !isNoted_.contains(i); }

  void joinInFamilies(Matcher matcher, std::optional<Type> type) {
    std::vector<Match> matches;
    for (const auto& [family, members] : index_.families()) {
      for (const Index part : members) {
        if (!isFree(part) || parts_[part].isEmbedded) continue;
        for (const Index main : members) {
          if (main == part || parts_[main].isEmbedded) continue;
          if (const auto fit = (this->*matcher)(main, part)) {
            matches.push_back({rankOf(*fit, main, part), main, part});
          }
        }
      }
    }
    joinBest(matches, type);
  }

  Rank rankOf(int fit, Index main, Index part) const {
    return quorvin::rankOf(fit, parts_[main], parts_[part], areTogether(main, part));
  }

  void joinBest(std::vector<Match>& matches, std::optional<Type> type) {
    std::ranges::sort(matches, {}, &Match::rank);
    for (const Match& match : matches) {
      if (!isFree(match.part)) continue;
      const bool isSide = !type;
      const Index main = isSide ? owner_[match.main].value_or(match.main) : match.main;
      if (!isSide && (!mayBeMain(main) || !hasSlot(main, *type))) continue;
      join(match.part, main, isSide ? resourceTypeOf(probe(match.part).notes.kind) : *type);
    }
  }

  std::optional<int> rawMatch(Index main, Index part) const {
    const bool isPhoto =
        std::ranges::find(kPhotosOfRaw, lowerExtension(name(main))) != kPhotosOfRaw.end();
    // A JPEG comes before a HEIC: it is the one that cameras write beside a raw file.
    if (!isStill(main) || !isStill(part) || probe(main).raw || !probe(part).raw || !isPhoto ||
        !haveOneStem(main, part) || !isOfOneMoment(main, part)) {
      return std::nullopt;
    }
    return 1 - preference(parts_[main]);
  }

  // A rendering is known by its name, and by an adjustment or the same moment.
  std::optional<int> editMatch(Index main, Index part) const {
    if (!isEditedName(name(part)) || isEditedName(name(main)) ||
        originalStem(name(part)) != originalStem(name(main))) {
      return std::nullopt;
    }
    if (!isOfOneMoment(main, part) && !isAdjusted(main)) return std::nullopt;
    return 0;
  }
  std::optional<int> renderingMatch(Index main, Index part) const {
    return isStill(main) && isStill(part) ? editMatch(main, part) : std::nullopt;
  }

  bool isAdjusted(Index main) const {
    return std::ranges::any_of(parts_[main].families, [&](std::int64_t family) {
      const auto& members = index_.members(family, originalStem(name(main)));
      return std::ranges::any_of(members, [&](Index i) { return isAdjustment(i); });
    });
  }

  void findEditedMovies() {
    for (const auto& [family, members] : index_.families()) {
      for (const Index part : members) {
        for (const Index main : members) {
          if (main != part && isMovie(main) && isMovie(part) && isFree(part) &&
              editMatch(main, part)) {
            editedMovies_.emplace(part, main);
          }
        }
      }
    }
  }

  void joinEditedMovies() {
    for (const auto& [edited, movie] : editedMovies_) {
      if (!isFree(edited)) continue;
      if (!isOwned(movie)) {
        if (hasSlot(movie, Type::fullSizeVideo)) join(edited, movie, Type::fullSizeVideo);
        continue;
      }
      const Index photo = *owner_[movie];
      if (!hasSlot(photo, Type::fullSizePhoto) && hasSlot(photo, Type::fullSizePairedVideo)) {
        join(edited, photo, Type::fullSizePairedVideo);
      }
    }
  }

  bool mayBeLive(Index still, Index movie) const {
    return isStill(still) && isMovie(movie) && mayBeMain(still) && !editedMovies_.contains(movie) &&
           hasSlot(still, Type::pairedVideo);
  }

  void joinByContent() {
    std::vector<Match> matches;
    for (const auto& [content, members] : index_.contents()) {
      if (members.size() > kMostOfOneContent) continue;
      for (const Index movie : members) {
        for (const Index still : members) {
          if (!isFree(movie) || !mayBeLive(still, movie)) continue;
          const auto& folder = parts_[still].record.asset.sourceFolder;
          const bool isNear = folder && folder == parts_[movie].record.asset.sourceFolder;
          const int distance = isNear ? (haveOneStem(still, movie) ? 0 : 1) : 2;
          matches.push_back({rankOf(distance, still, movie), still, movie});
        }
      }
    }
    joinBest(matches, Type::pairedVideo);
  }

  std::optional<int> liveMatch(Index still, Index movie) const {
    if (!mayBeLive(still, movie) || !namesMakeAPair(name(still), name(movie)) ||
        identifiersDiffer(probe(still).contentIdentifier, probe(movie).contentIdentifier)) {
      return std::nullopt;
    }
    return 0;
  }

  bool isAdjustment(Index part) const {
    return parts_[part].isSideFile() && probe(part).notes.kind == SideKind::adjustment;
  }

  std::optional<int> adjustmentMatch(Index main, Index part) const {
    if (!isAdjustment(part) || parts_[main].isSideFile() || isOwned(main) ||
        isEditedName(name(main)) || originalStem(name(main)) != originalStem(name(part))) {
      return std::nullopt;
    }
    // It belongs to what was edited.
    const bool isEdited =
        !hasSlot(main, Type::fullSizePhoto) || !hasSlot(main, Type::fullSizeVideo);
    return (isStill(main) ? 0 : 2) + (isEdited ? 0 : 1);
  }

  std::optional<int> sideMatch(Index target, Index part) const {
    if (!parts_[part].isSideFile() || isAdjustment(part) || parts_[target].isSideFile()) {
      return std::nullopt;
    }
    const std::string whole = lowerCase(name(target));
    const std::string stem = lowerCase(nameStem(name(target)));
    int fit = 0;
    for (const SideTarget& each : targetsOf(name(part), probe(part).notes)) {
      if (each.name == (each.isStem ? stem : whole)) {
        // Programs that leave the extension away mean the raw file.
        return 3 * fit + (probe(target).raw ? 0 : isStill(target) ? 1 : 2);
      }
      ++fit;
    }
    return std::nullopt;
  }

  // A side file stays with what it was given to, unless another one has taken its place.
  void keepSideFiles() {
    for (Index i = 0; i < parts_.size(); ++i) {
      if (isOwned(i) || isMain_.contains(i) || !parts_[i].isSideFile()) continue;
      if (const auto keeper = presentKeeper(i)) join(i, *keeper, parts_[i].type);
    }
  }

  std::optional<Index> presentKeeper(Index side) const {
    for (Index i = 0; i < parts_.size(); ++i) {
      const bool isBeside = parts_[side].row && parts_[i].row == parts_[side].row;
      if (!isBeside || parts_[i].isSideFile()) continue;
      const Index main = owner_[i].value_or(i);
      if (isUnseen(parts_[side].type) || hasSlot(main, parts_[side].type)) return main;
    }
    return std::nullopt;
  }

  Grouping result() {
    Grouping grouping;
    std::map<Index, std::vector<Role>> assets;
    for (Index i = 0; i < parts_.size(); ++i) {
      if (!isOwned(i) && (!parts_[i].isSideFile() || isMain_.contains(i))) {
        assets[i].insert(assets[i].begin(), {i, parts_[i].typeAlone()});
      } else if (isOwned(i)) {
        assets[*owner_[i]].push_back({i, type_[i]});
      } else {
        grouping.waiting.push_back(i);
      }
    }
    for (auto& [main, roles] : assets) {
      // The part that the others belong to comes first.
      const auto first = std::ranges::find(roles, main, &Role::part);
      std::rotate(roles.begin(), first, first + 1);
      grouping.assets.push_back(std::move(roles));
    }
    return grouping;
  }

  const std::vector<Part>& parts_;
  const PartIndex index_;
  std::vector<std::optional<Index>> owner_;
  std::vector<Type> type_;
  std::set<Index> isMain_;                        ///< something belongs to it
  std::set<Index> isNoted_;                       ///< main parts that an export names
  std::set<std::pair<Index, Type>> slots_;        ///< that are taken
  std::map<Index, std::set<std::int64_t>> rows_;  ///< that parts of main ones have
  std::map<Index, Index> editedMovies_;           ///< with their originals
};

}  // namespace

Grouping groupParts(const std::vector<Part>& parts) {
  return Grouper(parts).run();
}

}  // namespace quorvin
