// quorvin info: what the library holds.
#include <array>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

#include "platform_linux/library/administration.h"
#include "tool/commands.h"
#include "tool/status_names.h"

namespace quorvin {
namespace {

std::string statusName(PHAuthorizationStatus status) {
  return std::string(kStatusNames.at(static_cast<std::size_t>(status)));
}

std::string readableSize(std::int64_t bytes) {
  constexpr std::array kUnits = {"bytes", "kB", "MB", "GB", "TB"};
  auto size = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (size >= 1000 && unit + 1 < kUnits.size()) {
    size /= 1000;
    ++unit;
  }
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", size, kUnits.at(unit));
  return text.data();
}

std::string readableDay(const std::optional<NSDate>& date) {
  if (!date) return "none";
  const auto seconds = static_cast<std::time_t>(date->timeIntervalSince1970());
  std::tm local{};
  std::array<char, 64> text{};
  localtime_r(&seconds, &local);
  std::strftime(text.data(), text.size(), "%-d %B %Y", &local);
  return text.data();
}

void printLine(const char* name, std::int64_t count) {
  if (count > 0) std::printf("  %-14s %10lld\n", name, static_cast<long long>(count));
}

void printAlbums(const char* heading, const std::vector<AlbumSummary>& albums) {
  bool headed = false;
  for (const AlbumSummary& album : albums) {
    if (album.assets == 0 && std::string_view(heading) == "Smart albums") continue;
    if (!std::exchange(headed, true)) std::printf("\n%s\n", heading);
    const std::string title = album.title.empty() ? "(untitled)" : album.title;
    std::printf("  %-24s %10lld\n", title.c_str(), static_cast<long long>(album.assets));
  }
}

void printForPeople(const std::string& path, const LibrarySummary& library) {
  std::printf("%s\n", path.c_str());
  std::printf("  %s in %lld files, access %s\n", readableSize(library.originalBytes).c_str(),
              static_cast<long long>(library.originalFiles), statusName(library.status).c_str());
  if (library.oldest) {
    std::printf("  from %s to %s\n", readableDay(library.oldest).c_str(),
                readableDay(library.newest).c_str());
  }
  std::printf("\nAssets\n");
  printLine("photos", library.photos);
  printLine("  live", library.livePhotos);
  printLine("  bursts", library.bursts);
  printLine("videos", library.videos);
  printLine("audio", library.audio);
  printLine("others", library.others);
  printLine("favorites", library.favorites);
  printLine("hidden", library.hidden);
  printLine("deleted", library.deleted);
  if (library.photos + library.videos + library.audio + library.others == 0) {
    std::printf("  none\n");
  }
  printAlbums("Smart albums", library.smartAlbums);
  printAlbums("Albums", library.albums);
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
                                       {"smartAlbums", albumsToJson(library.smartAlbums)},
                                       {"albums", albumsToJson(library.albums)}};
  std::puts(json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
}

}  // namespace

int InfoCommand::run() const {
  const auto summary = describeLibrary(library);
  if (!summary) {
    complain(summary.error().localizedDescription);
    return kFailure;
  }
  json ? printForPrograms(library, *summary) : printForPeople(library, *summary);
  return kSuccess;
}

}  // namespace quorvin
