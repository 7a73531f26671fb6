#include "media_worker/side/side_xmp.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <utility>

#include "media_worker/metadata/metadata.h"
#include "media_worker/metadata/metadata_dates.h"
#include "media_worker/side/side_text.h"
#include "media_worker/side/xmp_bounds.h"
#include "media_worker/side/xmp_keys.h"

namespace quorvin {
namespace {

/// The text of the file's own language, as a rule the only one.
std::string titleOf(const Exiv2::XmpData& xmp) {
  const auto found = xmp.findKey(Exiv2::XmpKey("Xmp.dc.title"));
  if (found == xmp.end()) return {};
  const auto* languages = dynamic_cast<const Exiv2::LangAltValue*>(&found->value());
  if (languages == nullptr) return shortText(found->toString());
  const auto own = languages->value_.find("x-default");
  if (own != languages->value_.end()) return shortText(own->second);
  return languages->value_.empty() ? "" : shortText(languages->value_.begin()->second);
}

std::optional<bool> flagOf(const FileMetadata& file, const char* key) {
  const auto text = file.xmpText(key);
  if (!text) return std::nullopt;
  return *text == "True" || *text == "true" || *text == "1";
}

bool isFavorite(const FileMetadata& file) {
  if (const auto own = flagOf(file, kFavoriteKey)) return *own;
  const std::string rating = file.xmpText(kRatingKey).value_or("");
  return rating == "5" || rating == "5.0";
}

std::vector<std::string> textsOf(const FileMetadata& file, const char* key) {
  std::vector<std::string> texts;
  const auto found = file.xmp.findKey(Exiv2::XmpKey(key));
  if (found == file.xmp.end()) return texts;
  const auto count = std::min(static_cast<std::size_t>(found->count()), kMostNotes);
  for (std::size_t i = 0; i < count; ++i) {
    texts.push_back(shortText(found->toString(static_cast<long>(i))));
  }
  return texts;
}

template <class Number>
Number numberIn(std::string_view text) {
  Number value = 0;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && rest == text.data() + text.size() ? value : 0;
}

bool isPartType(std::int64_t type) {
  constexpr std::int64_t kLastOfResources = 12;
  constexpr std::int64_t kTakeoutFile = 1002;
  return (type >= 1 && type <= kLastOfResources) || type == kTakeoutFile;
}

/// What shows the asset: an original, or else what was made of it.
bool showsAsset(std::int64_t type) {
  return (type >= 1 && type <= 3) || type == 5 || type == 6;
}

/// Whoever likes can write such notes: those that no export writes are not believed.
bool areCredible(const std::vector<NotedPart>& parts) {
  std::set<std::int64_t> types;
  return !parts.empty() && showsAsset(parts.front().type) &&
         std::ranges::all_of(parts, [&types](const NotedPart& part) {
           return isPartType(part.type) && types.insert(part.type).second && !part.name.empty() &&
                  part.name.find('/') == part.name.npos;
         });
}

/// None when it notes none; empty when they are not credible.
std::optional<std::vector<NotedPart>> partsOf(const FileMetadata& file) {
  const std::vector<std::string> types = textsOf(file, kPartTypesKey);
  const std::vector<std::string> names = textsOf(file, kPartNamesKey);
  const std::vector<std::string> were = textsOf(file, kPartWereKey);
  std::vector<NotedPart> parts;
  for (std::size_t i = 0; i < std::min(types.size(), names.size()); ++i) {
    NotedPart part{numberIn<std::int64_t>(types[i]), names[i], i < were.size() ? were[i] : ""};
    if (part.was == part.name) part.was.clear();
    parts.push_back(std::move(part));
  }
  if (parts.empty()) return std::nullopt;
  if (!areCredible(parts)) parts.clear();
  return parts;
}

std::optional<std::int64_t> momentOf(const FileMetadata& file, const char* key) {
  const auto date = parseDate(file.xmpText(key).value_or(""));
  return date ? toNanoseconds(*date) : std::nullopt;
}

/// A reply has room for so many bytes of them.
void cutToReply(ExportedNotes& notes) {
  constexpr std::size_t kMostBytes = 32 << 10;
  constexpr std::size_t kBesideText = 16;
  std::size_t bytes = 0;
  const auto fits = [&bytes](std::size_t size) {
    bytes += size + kBesideText;
    return bytes <= kMostBytes;
  };
  std::erase_if(notes.parts, [&fits](const NotedPart& part) {
    return !fits(part.name.size() + part.was.size());
  });
  std::erase_if(notes.albums, [&fits](const std::string& album) { return !fits(album.size()); });
}

std::optional<ExportedNotes> exportedOf(const FileMetadata& file) {
  ExportedNotes notes;
  auto parts = partsOf(file);
  if (!parts) return std::nullopt;
  notes.parts = *std::move(parts);
  notes.albums = textsOf(file, kAlbumsKey);
  std::erase(notes.albums, "");
  notes.modified = momentOf(file, kModifiedKey);
  notes.hidden = flagOf(file, kHiddenKey).value_or(false);
  notes.burstIdentifier = shortText(file.xmpText(kBurstKey).value_or(""));
  if (!notes.burstIdentifier.empty()) {
    notes.burstPrimary = flagOf(file, kBurstPrimaryKey).value_or(false);
    notes.represents = flagOf(file, kRepresentsKey).value_or(false);
    notes.burstSelection = numberIn<std::uint32_t>(file.xmpText(kBurstSelectionKey).value_or(""));
  }
  cutToReply(notes);
  return notes;
}

}  // namespace

std::optional<Exiv2::XmpData> xmpOf(const std::string& packet) {
  if (packet.find("http://www.w3.org/1999/02/22-rdf-syntax-ns#") == packet.npos ||
      !isReadableXml(packet)) {
    return std::nullopt;
  }
  Exiv2::XmpData xmp;
  try {
    if (Exiv2::XmpParser::decode(xmp, packet) != 0) return std::nullopt;
  } catch (const std::exception&) {
    return std::nullopt;
  }
  return xmp;
}

bool readXmp(const std::string& packet, MediaProbe& probe) {
  auto xmp = xmpOf(packet);
  if (!xmp) return false;
  FileMetadata file;
  file.xmp = *std::move(xmp);
  probe.creationDate = photoCreationDate(file);
  probe.notes.title = titleOf(file.xmp);
  probe.notes.favorite = isFavorite(file);
  probe.notes.exported = exportedOf(file);
  return true;
}

}  // namespace quorvin
