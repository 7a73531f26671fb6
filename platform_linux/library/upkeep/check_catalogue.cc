// What the catalogue says, and whether it can be so.
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform_linux/library/catalogue/burst_rows.h"
#include "platform_linux/library/upkeep/check_run.h"

namespace quorvin {
namespace {

using Texts = std::vector<std::string>;

// The first column of every row.
Texts texts(Database& database, std::string_view sql) {
  Texts found;
  Statement rows = database.prepare(sql);
  while (rows.next()) found.emplace_back(rows.text(0));
  if (rows.failed()) found.emplace_back(database.lastError("It cannot be read").description());
  return found;
}

bool change(Catalogue& catalogue, const std::function<bool(Database&)>& body) {
  return static_cast<bool>(catalogue.change([&body](Database& database) -> Result<Null> {
    if (body(database)) return Null{};
    return database.lastError("The library cannot be repaired");
  }));
}

bool changeBy(Catalogue& catalogue, const std::string& statements) {
  return change(catalogue,
                [&statements](Database& database) { return database.execute(statements); });
}

Texts damage(Catalogue& catalogue) {
  Catalogue::Reader database = catalogue.reader();
  if (!database) return {"it cannot be opened"};
  Texts found = texts(*database, "PRAGMA integrity_check(20)");
  if (found == Texts{"ok"}) found.clear();
  return found;
}

void checkReferences(CheckRun& run) {
  std::map<std::string, int> dangling;
  {
    Catalogue::Reader database = run.catalogue.reader();
    if (!database) return;
    for (const std::string& table : texts(*database, "PRAGMA foreign_key_check")) ++dangling[table];
  }
  for (const auto& [table, count] : dangling) {
    run.find(FindingKind::danglingRow,
             "The catalogue's table “" + table + "” has " + std::to_string(count) +
                 " rows of assets or albums that do not exist.",
             [&run, table = table] {
               // Originals that lose their rows here are found again as files of nobody.
               std::string statement =
                   "DELETE FROM " + table + " WHERE asset NOT IN (SELECT id FROM assets)";
               if (table == "members") {
                 statement += " OR collection NOT IN (SELECT id FROM collections)";
               }
               return changeBy(run.catalogue, statement);
             });
  }
}

void checkBursts(CheckRun& run, Database& database) {
  struct Burst {
    std::string identifier;
    std::int64_t representatives;
  };
  std::vector<Burst> wrong;
  {
    Statement rows = database.prepare(
        "SELECT burst_id, sum(represents) FROM assets WHERE burst_id IS NOT NULL"
        " AND trashed_ns IS NULL GROUP BY burst_id HAVING sum(represents) <> 1");
    while (rows.next()) wrong.push_back({std::string(rows.text(0)), rows.integer(1)});
  }
  for (const Burst& burst : wrong) {
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
  const auto repair = [&run](const std::string& identifier, const char* bits) {
    return change(run.catalogue, [&identifier, bits](Database& writer) {
      Statement mark = writer.prepare(std::string("UPDATE assets SET subtypes = subtypes ") + bits +
                                      " WHERE ident = ?");
      return mark.bind(identifier).run();
    });
  };
  for (const std::string& identifier :
       texts(database,
             "SELECT a.ident FROM assets AS a WHERE (a.subtypes & 8) <> 0 AND NOT EXISTS"
             " (SELECT 1 FROM resources AS r WHERE r.asset = a.id AND r.type = 9)")) {
    run.find(FindingKind::wrongLivePhoto,
             "The asset “" + identifier + "” is marked as a live photo but has no video.",
             [&] { return repair(identifier, "& ~8"); });
  }
  for (const std::string& identifier :
       texts(database,
             "SELECT a.ident FROM assets AS a JOIN resources AS r ON r.asset = a.id AND r.type = 9"
             " WHERE (a.subtypes & 8) = 0")) {
    run.find(FindingKind::wrongLivePhoto,
             "The asset “" + identifier + "” has a paired video but is not marked as a live photo.",
             [&] { return repair(identifier, "| 8"); });
  }
}

void checkListings(CheckRun& run, Database& database) {
  const std::string rule = "(burst_id IS NULL OR represents OR (burst_sel & 2) <> 0)";
  const std::string repair = "UPDATE assets SET visible = " + rule + " WHERE visible <> " + rule;
  for (const std::string& identifier :
       texts(database, "SELECT ident FROM assets WHERE visible <> " + rule)) {
    run.find(FindingKind::wrongListing,
             "The asset “" + identifier + "” is listed where it should not be, or is not listed.",
             [&] { return changeBy(run.catalogue, repair); });
  }
}

}  // namespace

void checkDatabase(CheckRun& run) {
  const Texts found = damage(run.catalogue);
  if (!found.empty()) {
    // Indexes can be made again; what else is damaged stays for a person to see.
    const bool isRepaired =
        run.options.repair && changeBy(run.catalogue, "REINDEX") && damage(run.catalogue).empty();
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
  run.report.assets = database->integer("SELECT count(*) FROM assets").value_or(0);
  for (const char* table : {"assets", "collections"}) {
    const std::string sql = std::string("SELECT ident FROM ") + table +
                            " NOT INDEXED GROUP BY ident HAVING count(*) > 1";
    for (const std::string& identifier : texts(*database, sql)) {
      run.find(FindingKind::repeatedIdentifier,
               "The identifier “" + identifier + "” stands for more than one thing.");
    }
  }
  checkBursts(run, *database);
  checkLivePhotos(run, *database);
  checkListings(run, *database);
  for (const std::string& identifier :
       texts(*database,
             "SELECT a.ident FROM assets AS a WHERE NOT EXISTS"
             " (SELECT 1 FROM resources AS r WHERE r.asset = a.id AND r.type <> 9)")) {
    run.find(FindingKind::assetWithoutOriginal, "The asset “" + identifier + "” has no original.");
  }
}

}  // namespace quorvin
