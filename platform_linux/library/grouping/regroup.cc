#include "platform_linux/library/grouping/regroup.h"

#include <algorithm>
#include <map>
#include <span>
#include <utility>

#include "codec/utf8.h"
#include "platform_linux/library/catalogue/album_rows.h"
#include "platform_linux/library/catalogue/asset_rows.h"
#include "platform_linux/library/catalogue/consistency.h"
#include "platform_linux/library/catalogue/family_rows.h"
#include "platform_linux/library/grouping/composition.h"
#include "platform_linux/library/grouping/neighbourhood.h"
#include "platform_linux/library/values/identifiers.h"
#include "platform_linux/library/values/side_resources.h"

namespace quorvin {
namespace {

using Roles = std::vector<Role>;

bool haveFamilyInCommon(const Part& one, const Part& other) {
  return std::ranges::any_of(one.families, [&other](std::int64_t family) {
    return std::ranges::find(other.families, family) != other.families.end();
  });
}

bool isMainType(PHAssetResourceType type) {
  return type == PHAssetResourceType::photo || type == PHAssetResourceType::video ||
         type == PHAssetResourceType::audio;
}

class Regrouping {
 public:
  Regrouping(Database& database, std::vector<Part> parts, std::size_t newParts, std::int64_t now)
      : database_(database), parts_(std::move(parts)), newParts_(newParts), now_(now) {
    done_.places.resize(newParts);
    for (std::size_t i = newParts_; i < parts_.size(); ++i) ++filesOf_[*parts_[i].row];
  }

  std::optional<Regrouped> run() {
    Grouping grouping = groupParts(parts_);
    const std::vector<std::string> before = burstsOfParts();
    markBurstsByName(parts_, grouping);
    changesBurst_.resize(parts_.size());
    for (std::size_t i = 0; i < parts_.size(); ++i) {
      changesBurst_[i] = before[i] != parts_[i].record.asset.probe.burstIdentifier;
    }
    for (Roles& roles : grouping.assets) dropRepeated(roles);
    std::erase_if(grouping.assets, [this](const Roles& roles) { return isAsBefore(roles); });
    if (!detach(grouping.waiting) || !chooseRows(grouping.assets) || !settle(grouping.assets) ||
        !wait(grouping.waiting)) {
      return std::nullopt;
    }
    return std::move(done_);
  }

 private:
  struct Target {
    std::int64_t row = 0;
    bool isNew = false;
  };

  bool isNew(std::size_t part) const { return part < newParts_; }
  const NewAsset& assetOf(std::size_t part) const { return parts_[part].record.asset; }

  std::vector<std::string> burstsOfParts() const {
    std::vector<std::string> bursts;
    for (const Part& part : parts_) bursts.push_back(part.record.asset.probe.burstIdentifier);
    return bursts;
  }

  // The same side file need not be kept twice.
  void dropRepeated(Roles& roles) {
    std::erase_if(roles, [&](const Role& role) {
      const Part& part = parts_[role.part];
      if (!isNew(role.part) || !part.isSideFile()) return false;
      for (const Role& other : roles) {
        const NewResource& there = parts_[other.part].record.resource;
        if (other.part != role.part && other.type == role.type &&
            (!isNew(other.part) || other.part < role.part) &&
            there.size == part.record.resource.size && there.hash == part.record.resource.hash) {
          repeats_.emplace(role.part, other.part);
          return true;
        }
      }
      return false;
    });
  }

  bool isAsBefore(const Roles& roles) const {
    const auto& row = parts_[roles.front().part].row;
    return row && filesOf_.at(*row) == roles.size() &&
           std::ranges::all_of(roles, [&](const Role& role) {
             return parts_[role.part].row == row && parts_[role.part].type == role.type &&
                    !changesBurst_[role.part];
           });
  }

  // A side file whose place another one has taken waits by itself.
  bool detach(const std::vector<std::size_t>& waiting) {
    for (const std::size_t i : waiting) {
      const Part& part = parts_[i];
      if (isNew(i) || part.isWaiting) continue;
      NewAsset asset = part.record.asset;
      asset.identifier = newAssetIdentifier();
      const auto row = insertWaiting(database_, asset);
      if (!row || !setAside(database_, *row, part.record.resource.path, 0) ||
          !placeResource(database_, *row, part.record.resource) ||
          !addFamilies(database_, *row, part.families)) {
        return false;
      }
    }
    return true;
  }

  // An asset goes on as the one whose main file its own was, or else as that of any other file that
  // nobody else claims.
  bool chooseRows(const std::vector<Roles>& assets) {
    std::vector<std::optional<std::int64_t>> rows(assets.size());
    std::set<std::int64_t> taken;
    const auto claim = [&](bool byMain) {
      for (std::size_t i = 0; i < assets.size(); ++i) {
        for (const Role& role : assets[i]) {
          const Part& part = parts_[role.part];
          const bool isMain = role.part == assets[i].front().part && isMainType(part.type);
          if (rows[i] || !part.row || part.isSideFile() || isMain != byMain) continue;
          if (taken.insert(*part.row).second) rows[i] = part.row;
        }
      }
    };
    claim(true);
    claim(false);
    for (std::size_t i = 0; i < assets.size(); ++i) {
      const bool isMade = !rows[i];
      if (isMade) rows[i] = insert(assets[i]);
      if (!rows[i]) return false;
      targets_.push_back({*rows[i], isMade});
    }
    return true;
  }

  std::optional<std::int64_t> insert(const Roles& roles) {
    NewAsset asset = compose(parts_, roles).asset;
    if (!asset.identifier.empty() && isAsset(database_, asset.identifier)) {
      asset.identifier = newAssetIdentifier();
    }
    ++done_.newAssets;
    return insertAsset(database_, asset);
  }

  bool settle(const std::vector<Roles>& assets) {
    std::int64_t number = 0;
    for (std::size_t i = 0; i < assets.size(); ++i) {
      for (const Role& role : assets[i]) {
        const Part& part = parts_[role.part];
        if (part.row &&
            !setAside(database_, targets_[i].row, part.record.resource.path, number++)) {
          return false;
        }
      }
    }
    for (std::size_t i = 0; i < assets.size(); ++i) {
      if (!settleOne(assets[i], targets_[i])) return false;
    }
    for (std::size_t i = 0; i < assets.size(); ++i) {
      if (!mergeOthers(assets[i], targets_[i].row)) return false;
    }
    return true;
  }

  bool settleOne(const Roles& roles, const Target& target) {
    Composition made = compose(parts_, roles);
    for (std::size_t k = 0; k < roles.size(); ++k) {
      const bool stored = isNew(roles[k].part)
                              ? insertResource(database_, target.row, made.resources[k])
                              : placeResource(database_, target.row, made.resources[k]);
      if (!stored || !addFamilies(database_, target.row, parts_[roles[k].part].families)) {
        return false;
      }
      if (isNew(roles[k].part)) done_.places[roles[k].part].row = target.row;
    }
    if (!target.isNew) {
      made.asset.modified = std::max(now_, made.asset.modified);
      if (!updateAsset(database_, target.row, made.asset)) return false;
    }
    const bool isVideo = made.asset.probe.kind == MediaKind::video;
    if ((!target.isNew || isVideo) && !setTimeMap(database_, target.row, made.timeMap))
      return false;
    return setLive(database_, target.row, made.isLive) && note(roles, target) &&
           noteBurst(made.asset.probe.burstIdentifier);
  }

  // What side files say counts once, when they come: it may have been changed since.
  bool note(const Roles& roles, const Target& target) {
    for (const Role& role : roles) {
      const Part& part = parts_[role.part];
      const bool comes = target.isNew || isNew(role.part) || part.row != target.row;
      if (!part.isSideFile() || !comes) continue;
      const SideFacts facts = factsOf(part);
      if (!markAsset(database_, target.row, facts.marks)) return false;
      if (facts.marks.represents)
        knownBursts_.insert(part.record.asset.probe.notes.exported->burstIdentifier);
      for (const std::string& title : facts.albums) {
        const auto album = albumWithTitle(database_, validUtf8(title));
        if (!album || !addToAlbum(database_, *album, target.row)) return false;
      }
    }
    return true;
  }

  bool noteBurst(const std::string& burst) {
    if (!burst.empty() && !knownBursts_.contains(burst)) done_.bursts.insert(burst);
    return true;
  }

  bool mergeOthers(const Roles& roles, std::int64_t target) {
    for (const Role& role : roles) {
      const Part& part = parts_[role.part];
      if (!part.row || part.row == target || gone_.contains(*part.row)) continue;
      const std::string& burst = part.record.asset.probe.burstIdentifier;
      if (!burst.empty()) done_.bursts.insert(burst);
      if (hasResources(database_, *part.row)) continue;
      gone_.insert(*part.row);
      if (!mergeAsset(database_, *part.row, target)) return false;
    }
    return true;
  }

  bool wait(const std::vector<std::size_t>& waiting) {
    for (const std::size_t i : waiting) {
      if (!isNew(i)) continue;
      if (const auto there = sameThatWaits(i, waiting)) {
        repeats_.emplace(i, *there);
        continue;
      }
      const auto row = insertWaiting(database_, assetOf(i));
      if (!row || !insertResource(database_, *row, parts_[i].record.resource) ||
          !addFamilies(database_, *row, parts_[i].families)) {
        return false;
      }
      done_.places[i].row = *row;
    }
    for (const auto& [part, there] : repeats_) {
      done_.places[part].sameOriginal = parts_[there].record.resource.path;
      done_.places[part].row = parts_[there].row ? *parts_[there].row : done_.places[there].row;
    }
    return true;
  }

  std::optional<std::size_t> sameThatWaits(std::size_t part,
                                           const std::vector<std::size_t>& waiting) const {
    const NewResource& own = parts_[part].record.resource;
    for (const std::size_t other : waiting) {
      const NewResource& there = parts_[other].record.resource;
      if (other == part || (isNew(other) && other > part) || repeats_.contains(other)) continue;
      const bool isAlike =
          there.size == own.size && there.hash == own.hash && there.name == own.name;
      if (isAlike && haveFamilyInCommon(parts_[part], parts_[other])) return other;
    }
    return std::nullopt;
  }

  Database& database_;
  std::vector<Part> parts_;
  const std::size_t newParts_;  ///< come first
  const std::int64_t now_;
  std::map<std::int64_t, std::size_t> filesOf_;  ///< by row
  std::vector<bool> changesBurst_;
  std::map<std::size_t, std::size_t> repeats_;  ///< new parts, with those that are the same
  std::vector<Target> targets_;
  std::set<std::int64_t> gone_;
  std::set<std::string> knownBursts_;
  Regrouped done_;
};

}  // namespace

std::optional<Regrouped> regroup(Database& database, const LibraryFolder& folder,
                                 std::vector<Part> newParts,
                                 const std::vector<FoundAgain>& foundAgain, std::int64_t now) {
  std::vector<std::int64_t> moved;  // assets that have turned up where they were not before
  for (const FoundAgain& each : foundAgain) {
    const bool isKnown = std::ranges::all_of(each.families, [&](std::int64_t family) {
      return isOfFamily(database, each.row, std::span(&family, 1));
    });
    if (isKnown) continue;
    if (!addFamilies(database, each.row, each.families)) return std::nullopt;
    moved.push_back(each.row);
  }
  const std::size_t count = newParts.size();
  appendNeighbours(database, folder, newParts, moved);
  return Regrouping(database, std::move(newParts), count, now).run();
}

}  // namespace quorvin
