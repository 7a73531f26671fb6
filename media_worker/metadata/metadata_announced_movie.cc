// The movie that a motion photo's XMP announces.
#include <charconv>
#include <map>

#include "media_worker/metadata/metadata.h"

namespace quorvin {
namespace {

std::optional<std::int64_t> integer(const std::optional<std::string>& text) {
  std::int64_t value = 0;
  if (!text) return std::nullopt;
  const char* end = text->data() + text->size();
  const auto [rest, error] = std::from_chars(text->data(), end, value);
  if (error != std::errc() || rest != end || value < 0) return std::nullopt;
  return value;
}

struct ContainerItem {
  std::string mime;
  std::string semantic;
  std::int64_t length = 0;
  std::int64_t padding = 0;
};

/// The items of the file in their order, by their paths
/// `Container:Directory[N]/Container:Item/Item:…`.
std::vector<ContainerItem> containerItems(const FileMetadata& file) {
  constexpr std::string_view kDirectory = "Directory[";
  std::map<std::int64_t, ContainerItem> items;
  for (const Exiv2::Xmpdatum& datum : file.xmp) {
    const std::string path = datum.tagName();
    const std::size_t close = path.find(']');
    const std::size_t slash = path.rfind('/');
    if (datum.groupName() != "Container" || !path.starts_with(kDirectory) ||
        close == std::string::npos || slash == std::string::npos) {
      continue;
    }
    const auto index = integer(path.substr(kDirectory.size(), close - kDirectory.size()));
    if (!index) continue;
    ContainerItem& item = items[*index];
    const std::string field = path.substr(slash + 1);
    if (field == "Item:Mime") item.mime = datum.toString();
    if (field == "Item:Semantic") item.semantic = datum.toString();
    if (field == "Item:Length") item.length = integer(datum.toString()).value_or(0);
    if (field == "Item:Padding") item.padding = integer(datum.toString()).value_or(0);
  }
  std::vector<ContainerItem> result;
  result.reserve(items.size());
  for (auto& [index, item] : items) result.push_back(std::move(item));
  return result;
}

std::optional<AnnouncedMovie> fromContainer(const FileMetadata& file) {
  const std::vector<ContainerItem> items = containerItems(file);
  AnnouncedMovie movie;
  for (auto item = items.rbegin(); item != items.rend(); ++item) {
    if (__builtin_add_overflow(movie.fromEnd, item->length, &movie.fromEnd) ||
        __builtin_add_overflow(movie.fromEnd, item->padding, &movie.fromEnd)) {
      return std::nullopt;
    }
    if (item->semantic == "MotionPhoto" || item->mime.starts_with("video/")) {
      movie.length = item->length;
      return movie.length > 0 ? std::optional(movie) : std::nullopt;
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<AnnouncedMovie> announcedMovie(const FileMetadata& file) {
  if (file.xmpText("Xmp.GCamera.MotionPhoto") == "1") {
    if (const auto movie = fromContainer(file)) return movie;
  }
  // The older form; the newer one often carries it along.
  const auto offset = integer(file.xmpText("Xmp.GCamera.MicroVideoOffset"));
  if (file.xmpText("Xmp.GCamera.MicroVideo") == "1" && offset && *offset > 0) {
    return AnnouncedMovie{*offset, *offset};
  }
  return std::nullopt;
}

}  // namespace quorvin
