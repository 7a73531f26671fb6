#include "media_protocol/side_notes.h"

#include <algorithm>
#include <limits>

#include "media_protocol/map_reader.h"
#include "media_protocol/requests.h"

namespace quorvin {
namespace {

constexpr Literal kSide = "side"_lit;
constexpr Literal kTitle = "title"_lit;
constexpr Literal kFavorite = "favorite"_lit;
constexpr Literal kExported = "exported"_lit;
constexpr Literal kPartTypes = "partTypes"_lit;
constexpr Literal kPartNames = "partNames"_lit;
constexpr Literal kPartWere = "partNamesBefore"_lit;
constexpr Literal kAlbums = "albums"_lit;
constexpr Literal kModified = "modified"_lit;
constexpr Literal kHidden = "hidden"_lit;
constexpr Literal kBurst = "burst"_lit;
constexpr Literal kPrimary = "burstPrimary"_lit;
constexpr Literal kRepresents = "represents"_lit;
constexpr Literal kBurstSelection = "burstSelection"_lit;

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

bool areShort(const std::vector<std::string>& texts) {
  return texts.size() <= kMostNotes && std::ranges::all_of(texts, [](const std::string& text) {
           return text.size() <= kLongestText;
         });
}

Map exportedToMap(const ExportedNotes& notes) {
  List types;
  List names;
  List were;
  for (const NotedPart& part : notes.parts) {
    types.emplace_back(part.type);
    names.emplace_back(part.name);
    were.emplace_back(part.was);
  }
  List albums;
  for (const std::string& album : notes.albums) albums.emplace_back(album);
  Map map{{kPartTypes, std::move(types)},
          {kPartNames, std::move(names)},
          {kPartWere, std::move(were)},
          {kAlbums, std::move(albums)},
          {kHidden, notes.hidden},
          {kBurst, notes.burstIdentifier},
          {kPrimary, notes.burstPrimary},
          {kRepresents, notes.represents},
          {kBurstSelection, static_cast<std::int64_t>(notes.burstSelection)}};
  if (notes.modified) map.emplace_back(kModified, *notes.modified);
  return map;
}

bool readParts(const MapReader& reader, std::vector<NotedPart>& parts) {
  List types;
  std::vector<std::string> names;
  std::vector<std::string> were;
  if (!reader.value(kPartTypes, types) || !reader.texts(kPartNames, names) ||
      !reader.texts(kPartWere, were) || types.size() != names.size() ||
      were.size() != names.size() || !areShort(names) || !areShort(were)) {
    return false;
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    const auto* type = types[i].as<std::int64_t>();
    if (type == nullptr) return false;
    parts.push_back({*type, names[i], were[i]});
  }
  return true;
}

std::optional<ExportedNotes> exportedFromMap(const Map& map) {
  const MapReader reader(map);
  ExportedNotes notes;
  const bool whole =
      readParts(reader, notes.parts) && reader.texts(kAlbums, notes.albums) &&
      areShort(notes.albums) && reader.value(kHidden, notes.hidden) &&
      reader.text(kBurst, notes.burstIdentifier) && notes.burstIdentifier.size() <= kLongestText &&
      reader.value(kPrimary, notes.burstPrimary) && reader.value(kRepresents, notes.represents) &&
      reader.within(kBurstSelection, 0, kMost, notes.burstSelection);
  if (!whole) return std::nullopt;
  if (find(map, kModified) == nullptr) return notes;
  std::int64_t modified = 0;
  if (!reader.value(kModified, modified)) return std::nullopt;
  notes.modified = modified;
  return notes;
}

}  // namespace

Map notesToMap(const SideNotes& notes) {
  Map map{{kSide, static_cast<std::int64_t>(notes.kind)},
          {kTitle, notes.title},
          {kFavorite, notes.favorite}};
  if (notes.exported) map.emplace_back(kExported, exportedToMap(*notes.exported));
  return map;
}

std::optional<SideNotes> notesFromMap(const Map& map) {
  const MapReader reader(map);
  SideNotes notes;
  const bool whole = reader.within(kSide, static_cast<std::int64_t>(SideKind::none),
                                   static_cast<std::int64_t>(SideKind::album), notes.kind) &&
                     reader.text(kTitle, notes.title) && notes.title.size() <= kLongestText &&
                     reader.value(kFavorite, notes.favorite);
  if (!whole) return std::nullopt;
  if (find(map, kExported) == nullptr) return notes;
  Map exported;
  if (!reader.value(kExported, exported)) return std::nullopt;
  notes.exported = exportedFromMap(exported);
  if (!notes.exported) return std::nullopt;
  return notes;
}

}  // namespace quorvin
