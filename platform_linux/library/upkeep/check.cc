#include "platform_linux/library/upkeep/check.h"

#include <array>

#include "platform_linux/library/opening/obstacle.h"
#include "platform_linux/library/opening/opening.h"
#include "platform_linux/library/upkeep/check_run.h"
#include "platform_linux/library/upkeep/rescue.h"

namespace quorvin {

std::string_view findingName(FindingKind kind) {
  constexpr std::array<std::string_view, 15> kNames = {
      "damagedCatalogue", "danglingRow",        "repeatedIdentifier",   "wrongListing",
      "wrongBurst",       "wrongLivePhoto",     "assetWithoutOriginal", "missingOriginal",
      "changedOriginal",  "unreadableOriginal", "foreignOriginal",      "strayOriginal",
      "strayDerivative",  "leftover",           "missingChecksum"};
  return kNames.at(static_cast<std::size_t>(kind));
}

namespace {

Result<CheckReport> rescueWhereNeeded(const std::string& path) {
  CheckReport report;
  auto folder = libraryFolderAt(path);
  if (!folder) return folder.error();
  if (auto refusal = refusalOfChanges(*folder)) return *std::move(refusal);
  const auto trouble = troubleOf(*folder);
  if (!trouble) return report;
  if (const auto made = makeFolders(*folder); !made) return made.error();
  auto told = rescueCatalogue(*folder);
  if (!told) return told.error();
  report.rescue = *std::move(told);
  report.findings.push_back({FindingKind::damagedCatalogue,
                             "The catalogue “" + folder->catalogue() + "” " + *trouble + ".",
                             true});
  return report;
}

}  // namespace

Result<CheckReport> checkLibrary(const std::string& path, const CheckOptions& options) {
  CheckReport rescued;
  if (options.repair) {
    auto made = rescueWhereNeeded(path);
    if (!made) return made.error();
    rescued = *std::move(made);
  }
  auto catalogue = openCatalogue(path, MissingLibrary::refuse);
  if (!catalogue) return catalogue.error();
  // What it is about to remove is none of this one's business.
  (*catalogue)->finishBeside();
  CheckRun run{**catalogue, options, std::move(rescued)};
  checkDatabase(run);
  checkRows(run);
  checkOriginals(run);
  checkStrayFiles(run);
  return std::move(run.report);
}

}  // namespace quorvin
