// Sweeps a library in which a crash, or somebody else, left a list with any content. Nothing goes
// but what is listed, has a path that an original can have, and is named by no row.
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/fetch/library.h"
#include "platform_linux/library/originals/original_path.h"
#include "platform_linux/library/originals/staging.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

/// The one original that a row names; others that no row does; and what is no original at all.
constexpr std::string_view kNamed = "AB/AB345678-90AB-4DEF-8123-456789ABCDEF.JPG";
constexpr std::array<std::string_view, 3> kUnnamed = {
    "AB/AB345678-90AB-4DEF-8123-456789ABCDEF-9.MOV", "AB/ABCDEF01-0000-4000-8000-000000000000",
    "CD/CD345678-90AB-4DEF-8123-456789ABCDEF.HEIC"};
constexpr std::array<std::string_view, 4> kOthers = {"note.txt", "originals/note.txt",
                                                     "originals/AB/note.txt", "../note.txt"};

struct SweptLibrary {
  TemporaryFolder around;
  LibraryFolder folder;

  SweptLibrary() {
    const std::string path = around / "library";
    require(static_cast<bool>(
                Library::open({.path = path, .authorization = PHAuthorizationStatus::authorized})),
            "there is a library");
    const auto database = Database::open(path + "/library.sqlite", Database::Use::write);
    require(
        database && (*database)->execute("INSERT INTO assets(ident, media_type) "
                                         "VALUES ('AB345678-90AB-4DEF-8123-456789ABCDEF/L0/001',"
                                         " 1)"),
        "there is an asset");
    require((*database)
                ->prepare("INSERT INTO resources VALUES (1, 0, 1, 'a.jpg', 'public.jpeg', ?, 1,"
                          " x'00', 1)")
                .bind(kNamed)
                .run(),
            "it has an original");
    auto opened = libraryFolderAt(path);
    require(static_cast<bool>(opened), "the folder opens");
    folder = *std::move(opened);
    write("originals/" + std::string(kNamed));
    for (const std::string_view each : kOthers) write(std::string(each));
  }

  std::string at(const std::string& place) const { return folder.root + "/" + place; }
  bool has(const std::string& place) const { return std::filesystem::exists(at(place)); }
  void write(const std::string& place, std::string_view content = "content") const {
    std::filesystem::create_directories(std::filesystem::path(at(place)).parent_path());
    std::ofstream(at(place), std::ios::binary) << content;
  }
};

bool hasLine(std::string_view text, std::string_view line) {
  for (std::size_t place = 0; (place = text.find(line, place)) != text.npos; ++place) {
    const std::size_t end = place + line.size();
    if ((place == 0 || text[place - 1] == '\n') && end < text.size() && text[end] == '\n') {
      return true;
    }
  }
  return false;
}

void sweep(std::string_view list) {
  static SweptLibrary library;
  for (const std::string_view each : kUnnamed) {
    const std::string place = "originals/" + std::string(each);
    if (!library.has(place)) library.write(place);
  }
  library.write("incoming/left/originals.list", list);
  library.write("incoming/left/part.jpg");

  const std::set<std::string> announced = announcedOriginals(library.folder);
  for (const std::string& each : announced) {
    require(resourcePathIsOurs(each) && hasLine(list, each), "a path is a line of the list");
  }
  for (const std::string_view each : kUnnamed) {
    require(announced.contains(std::string(each)) == hasLine(list, each), "a line is a path");
  }
  sweepStaging(library.folder);
  require(leftovers(library.folder).empty(), "what was left is swept");
  require(library.has("originals/" + std::string(kNamed)), "what a row names stays");
  for (const std::string_view each : kOthers) {
    require(library.has(std::string(each)), "what is no original stays");
  }
  for (const std::string_view each : kUnnamed) {
    require(library.has("originals/" + std::string(each)) == !hasLine(list, each),
            "what is listed and not named goes, and nothing else");
  }
}

}  // namespace
}  // namespace quorvin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quorvin::sweep({reinterpret_cast<const char*>(data), size});
  return 0;
}
