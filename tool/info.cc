// quorvin info: what the library holds.
#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "platform_linux/library/upkeep/administration.h"
#include "tool/commands.h"
#include "tool/json.h"
#include "tool/readable.h"
#include "tool/status_names.h"
#include "tool/text.h"

namespace quorvin {
namespace {

std::string statusName(PHAuthorizationStatus status) {
  return std::string(kStatusNames.at(static_cast<std::size_t>(status)));
}

/// Names with counts under headings, all counts in one column.
class Listing {
 public:
  void heading(std::string text) { lines_.push_back({std::move(text), std::nullopt}); }
  void count(const std::string& name, std::int64_t count) {
    lines_.push_back({"  " + cutToColumns(name, kWidest), count});
  }
  void countUnlessNone(const std::string& name, std::int64_t number) {
    if (number > 0) count(name, number);
  }

  void print() const {
    std::size_t nameWidth = 0;
    std::size_t countWidth = 0;
    for (const auto& [name, count] : lines_) {
      if (!count) continue;
      nameWidth = std::max(nameWidth, columnsOf(name));
      countWidth = std::max(countWidth, grouped(*count).size());
    }
    for (const auto& [name, count] : lines_) {
      if (!count) {
        std::printf("\n%s\n", name.c_str());
        continue;
      }
      const std::string number = grouped(*count);
      const std::size_t gap = nameWidth - columnsOf(name) + 3 + countWidth - number.size();
      std::printf("%s%s%s\n", name.c_str(), std::string(gap, ' ').c_str(), number.c_str());
    }
  }

 private:
  static constexpr std::size_t kWidest = 48;
  std::vector<std::pair<std::string, std::optional<std::int64_t>>> lines_;
};

void listAssets(Listing& listing, const LibrarySummary& library) {
  listing.heading("Assets");
  listing.countUnlessNone("photos", library.photos);
  listing.countUnlessNone("  live", library.livePhotos);
  listing.countUnlessNone("  bursts", library.bursts);
  listing.countUnlessNone("videos", library.videos);
  listing.countUnlessNone("audio", library.audio);
  listing.countUnlessNone("others", library.others);
  listing.countUnlessNone("favorites", library.favorites);
  listing.countUnlessNone("hidden", library.hidden);
  listing.countUnlessNone("deleted", library.deleted);
}

void listAlbums(Listing& listing, const LibrarySummary& library) {
  listing.heading("Smart albums");
  for (const AlbumSummary& album : library.smartAlbums) {
    listing.countUnlessNone(printable(album.title), album.assets);
  }
  if (library.albums.empty()) return;
  listing.heading("Albums");
  for (const AlbumSummary& album : library.albums) {
    listing.count(album.title.empty() ? "(untitled)" : printable(album.title), album.assets);
  }
}

void printForPeople(const std::string& path, const LibrarySummary& library) {
  const std::int64_t assets = library.photos + library.videos + library.audio + library.others;
  std::printf(
      "%s\n  %s, %s in %s, access %s\n", printable(path).c_str(),
      counted(assets, "asset", "assets").c_str(), readableSize(library.originalBytes).c_str(),
      counted(library.originalFiles, "file", "files").c_str(), statusName(library.status).c_str());
  if (library.oldest) {
    const std::string first = readableDay(library.oldest);
    const std::string last = readableDay(library.newest);
    const std::string days = first == last ? "of " + first : "from " + first + " to " + last;
    std::printf("  %s\n", days.c_str());
  }
  if (library.previewsWanted > 0) {
    std::printf("  previews of %s of %s, %s\n", grouped(library.previews).c_str(),
                counted(library.previewsWanted, "picture", "pictures").c_str(),
                readableSize(library.previewBytes).c_str());
  }
  Listing listing;
  if (assets + library.deleted > 0) listAssets(listing, library);
  if (assets > 0 || !library.albums.empty()) listAlbums(listing, library);
  listing.print();
}

nlohmann::ordered_json albumsToJson(const std::vector<AlbumSummary>& albums) {
  auto list = nlohmann::ordered_json::array();
  for (const AlbumSummary& album : albums) {
    list.push_back(
        {{"id", album.localIdentifier}, {"title", album.title}, {"assets", album.assets}});
  }
  return list;
}

nlohmann::ordered_json dateToJson(const std::optional<NSDate>& date) {
  if (!date) return nullptr;
  return static_cast<std::int64_t>(date->timeIntervalSince1970() * 1000.0);
}

void printForPrograms(const std::string& path, const LibrarySummary& library) {
  const nlohmann::ordered_json json = {{"path", path},
                                       {"status", statusName(library.status)},
                                       {"photos", library.photos},
                                       {"videos", library.videos},
                                       {"audio", library.audio},
                                       {"others", library.others},
                                       {"livePhotos", library.livePhotos},
                                       {"bursts", library.bursts},
                                       {"favorites", library.favorites},
                                       {"hidden", library.hidden},
                                       {"deleted", library.deleted},
                                       {"originalFiles", library.originalFiles},
                                       {"originalBytes", library.originalBytes},
                                       {"oldest", dateToJson(library.oldest)},
                                       {"newest", dateToJson(library.newest)},
                                       {"previews", library.previews},
                                       {"previewsWanted", library.previewsWanted},
                                       {"previewBytes", library.previewBytes},
                                       {"smartAlbums", albumsToJson(library.smartAlbums)},
                                       {"albums", albumsToJson(library.albums)}};
  std::puts(textOf(json, 2).c_str());
}

}  // namespace

int InfoCommand::run() const {
  const auto summary = describeLibrary(library);
  if (!summary) {
    complain(summary.error().sentence());
    return kFailure;
  }
  json ? printForPrograms(library, *summary) : printForPeople(library, *summary);
  return kSuccess;
}

}  // namespace quorvin
