// What the catalogue says, and whether it can be so.
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform_linux/library/catalogue/burst_rows.h"
#include "platform_linux/library/catalogue/consistency.h"
#include "platform_linux/library/places/place_check.h"
#include "platform_linux/library/places/place_schema.h"
#include "platform_linux/library/upkeep/check_run.h"

namespace quorvin {
namespace {

bool change(Catalogue& catalogue, const std::function<bool(Database&)>& body) {
  return static_cast<bool>(catalogue.change([&body](Database& database) -> Done {
    if (body(database)) return Null{};
    return database.lastError("the library cannot be repaired");
  }));
}

std::vector<std::string> damage(Catalogue& catalogue) {
  Catalogue::Reader database = catalogue.reader();
  if (!database) return {"it cannot be opened"};
  return damageOf(*database);
}

void checkReferences(CheckRun& run) {
  std::map<std::string, int> dangling;
  {
    Catalogue::Reader database = run.catalogue.reader();
    if (!database) return;
    dangling = danglingRows(*database);
  }
  for (const auto& [table, count] : dangling) {
    run.find(FindingKind::danglingRow,
             "The catalogue's table “" + table + "” has " + std::to_string(count) +
                 " rows of assets or albums that do not exist.",
             [&run, name = table] {
               // Originals that lose their rows here are found again as files of nobody.
               return change(run.catalogue,
                             [&name](Database& writer) { return dropDanglingRows(writer, name); });
             });
  }
}

void checkBursts(CheckRun& run, Database& database) {
  for (const WrongBurst& burst : wrongBursts(database)) {
    run.find(FindingKind::wrongBurst,
             "The burst “" + burst.identifier + "” is represented by " +
                 std::to_string(burst.representatives) + " of its photos instead of one.",
             [&run, &burst] {
               return change(run.catalogue, [&burst](Database& writer) {
                 return settleBurst(writer, burst.identifier, BurstChoice::anew);
               });
             });
  }
}

void checkLivePhotos(CheckRun& run, Database& database) {
  const auto repair = [&run](const std::string& identifier, bool isLive) {
    return change(run.catalogue, [&identifier, isLive](Database& writer) {
      return markAsLivePhoto(writer, identifier, isLive);
    });
  };
  for (const std::string& identifier : livePhotosWithoutVideo(database)) {
    run.find(FindingKind::wrongLivePhoto,
             "The asset “" + identifier + "” is marked as a live photo but has no video.",
             [&] { return repair(identifier, false); });
  }
  for (const std::string& identifier : videosWithoutLivePhoto(database)) {
    run.find(FindingKind::wrongLivePhoto,
             "The asset “" + identifier + "” has a paired video but is not marked as a live photo.",
             [&] { return repair(identifier, true); });
  }
}

void checkListings(CheckRun& run, Database& database) {
  for (const std::string& identifier : wronglyListed(database)) {
    run.find(FindingKind::wrongListing,
             "The asset “" + identifier + "” is listed where it should not be, or is not listed.",
             [&run] { return change(run.catalogue, settleListings); });
  }
}

// Last, for what else is put right puts assets into listings and takes them out.
void checkPlaces(CheckRun& run, Database& database) {
  const auto wrong = wrongPlaces(database);
  const auto repair = [&run] { return change(run.catalogue, rebuildPlaces); };
  if (!wrong) {
    run.find(FindingKind::wrongListing, "The places of assets in listings cannot be read.", repair);
    return;
  }
  if (wrong->places > 0) {
    run.find(FindingKind::wrongListing,
             std::to_string(wrong->places) + " places of assets in listings are wrong.", repair);
  }
  if (wrong->counts > 0) {
    run.find(FindingKind::wrongListing,
             std::to_string(wrong->counts) + " counts of listings are wrong.", repair);
  }
}

}  // namespace

void checkDatabase(CheckRun& run) {
  const std::vector<std::string> found = damage(run.catalogue);
  if (!found.empty()) {
    // Indexes can be made again; what else is damaged stays for a person to see.
    const bool isRepaired =
        run.options.repair && change(run.catalogue, remakeIndexes) && damage(run.catalogue).empty();
    for (const std::string& what : found) {
      run.find(FindingKind::damagedCatalogue, "The catalogue is damaged: " + what + ".",
               [isRepaired] { return isRepaired; });
    }
  }
  checkReferences(run);
}

void checkRows(CheckRun& run) {
  Catalogue::Reader database = run.catalogue.reader();
  if (!database) return;
  run.report.assets = countAssets(*database);
  for (const std::string& identifier : repeatedIdentifiers(*database)) {
    run.find(FindingKind::repeatedIdentifier,
             "The identifier “" + identifier + "” stands for more than one thing.");
  }
  checkBursts(run, *database);
  checkLivePhotos(run, *database);
  checkListings(run, *database);
  checkPlaces(run, *database);
  for (const std::string& identifier : assetsWithoutOriginal(*database)) {
    run.find(FindingKind::assetWithoutOriginal, "The asset “" + identifier + "” has no original.");
  }
}

}  // namespace quorvin
