#include "platform_linux/library/upkeep/check.h"

#include <array>

#include "platform_linux/library/opening/opening.h"
#include "platform_linux/library/upkeep/check_run.h"

namespace quorvin {

std::string_view findingName(FindingKind kind) {
  constexpr std::array<std::string_view, 14> kNames = {
      "damagedCatalogue",     "danglingRow",     "repeatedIdentifier",
      "wrongListing",         "wrongBurst",      "wrongLivePhoto",
      "assetWithoutOriginal", "missingOriginal", "changedOriginal",
      "unreadableOriginal",   "foreignOriginal", "strayOriginal",
      "strayDerivative",      "leftover"};
  return kNames.at(static_cast<std::size_t>(kind));
}

Result<CheckReport> checkLibrary(const std::string& path, const CheckOptions& options) {
  auto catalogue = openCatalogue(path, MissingLibrary::refuse);
  if (!catalogue) return catalogue.error();
  CheckRun run{**catalogue, options, {}};
  checkDatabase(run);
  checkRows(run);
  checkOriginals(run);
  checkStrayFiles(run);
  return std::move(run.report);
}

}  // namespace quorvin
