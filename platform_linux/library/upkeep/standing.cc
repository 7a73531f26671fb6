#include "platform_linux/library/upkeep/standing.h"

#include <filesystem>
#include <system_error>

#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/opening/opening.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

std::int64_t freeBytesAt(fs::path place) {
  std::error_code unknown;
  while (place.has_relative_path() && !fs::exists(place, unknown)) place = place.parent_path();
  const fs::space_info space = fs::space(place, unknown);
  return unknown ? 0 : static_cast<std::int64_t>(space.available);
}

}  // namespace

LibraryStanding standingOf(const std::string& path) {
  LibraryStanding standing;
  standing.freeBytes = freeBytesAt(fs::absolute(path));
  std::error_code unknown;
  standing.isThere = fs::exists(path, unknown) && !fs::is_empty(path, unknown);
  if (!standing.isThere) return standing;
  const auto catalogue = openCatalogue(path, MissingLibrary::refuse);
  standing.canBeRead = static_cast<bool>(catalogue);
  standing.trouble = catalogue ? (*catalogue)->folder().refusal : catalogue.error();
  return standing;
}

std::string databaseVersion() {
  return Database::libraryVersion();
}

}  // namespace quorvin
