#include "media_worker/side/xmp_writer.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <exception>
#include <utility>

#include "media_protocol/sealed_memory.h"
#include "media_worker/metadata/metadata.h"
#include "media_worker/side/side_file.h"
#include "media_worker/side/side_xmp.h"
#include "media_worker/side/xmp_keys.h"

namespace quorvin {
namespace {

std::string dateText(std::int64_t nanoseconds) {
  using namespace std::chrono;
  // Apart from its fraction, for the first second of all begins before the first nanosecond.
  constexpr std::int64_t kSecond = 1'000'000'000;
  const std::int64_t fraction = (nanoseconds % kSecond + kSecond) % kSecond;
  const sys_seconds moment{seconds(nanoseconds / kSecond - (nanoseconds % kSecond < 0))};
  const auto day = floor<days>(moment);
  const year_month_day date(day);
  const hh_mm_ss time(moment - day);
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%09dZ",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()),
                static_cast<int>(fraction));
  return text.data();
}

/// Sets properties, each in place of what it said before.
class Writer {
 public:
  explicit Writer(Exiv2::XmpData& xmp) : xmp_(xmp) {}

  bool has(const char* key) const { return xmp_.findKey(Exiv2::XmpKey(key)) != xmp_.end(); }
  void text(const char* key, const std::string& text) {
    remove(key);
    if (text.empty()) return;
    const Exiv2::XmpTextValue value(text);
    xmp_.add(Exiv2::XmpKey(key), &value);
  }
  void flag(const char* key, bool isSet) { text(key, isSet ? "True" : "False"); }
  void texts(const char* key, const std::vector<std::string>& texts, Exiv2::TypeId kind) {
    remove(key);
    if (texts.empty()) return;
    Exiv2::XmpArrayValue value(kind);
    for (const std::string& each : texts) value.read(each);
    xmp_.add(Exiv2::XmpKey(key), &value);
  }
  void title(const std::string& title) {
    remove(kTitleKey);
    Exiv2::LangAltValue value;
    value.value_["x-default"] = title;
    xmp_.add(Exiv2::XmpKey(kTitleKey), &value);
  }

 private:
  void remove(const char* key) {
    const auto found = xmp_.findKey(Exiv2::XmpKey(key));
    if (found != xmp_.end()) xmp_.erase(found);
  }

  Exiv2::XmpData& xmp_;
};

/// Albums are keywords to other programs.
void addKeywords(const std::vector<std::string>& albums, Exiv2::XmpData& xmp) {
  std::vector<std::string> keywords;
  const auto found = xmp.findKey(Exiv2::XmpKey(kSubjectKey));
  for (long i = 0; found != xmp.end() && i < static_cast<long>(found->count()); ++i) {
    keywords.push_back(found->toString(i));
  }
  for (const std::string& album : albums) {
    if (std::ranges::find(keywords, album) == keywords.end()) keywords.push_back(album);
  }
  Writer(xmp).texts(kSubjectKey, keywords, Exiv2::xmpBag);
}

void writeExported(const ExportedNotes& notes, Writer& writer) {
  std::vector<std::string> types;
  std::vector<std::string> names;
  std::vector<std::string> were;
  for (const NotedPart& part : notes.parts) {
    types.push_back(std::to_string(part.type));
    names.push_back(part.name);
    // Empty texts would be left out.
    were.push_back(part.was.empty() ? part.name : part.was);
  }
  writer.texts(kPartTypesKey, types, Exiv2::xmpSeq);
  writer.texts(kPartNamesKey, names, Exiv2::xmpSeq);
  writer.texts(kPartWereKey, were, Exiv2::xmpSeq);
  writer.texts(kAlbumsKey, notes.albums, Exiv2::xmpSeq);
  writer.text(kModifiedKey, notes.modified ? dateText(*notes.modified) : "");
  writer.flag(kHiddenKey, notes.hidden);
  const bool isInBurst = !notes.burstIdentifier.empty();
  writer.text(kBurstKey, notes.burstIdentifier);
  writer.text(kBurstPrimaryKey, isInBurst ? notes.burstPrimary ? "True" : "False" : "");
  writer.text(kRepresentsKey, isInBurst ? notes.represents ? "True" : "False" : "");
  writer.text(kBurstSelectionKey, isInBurst ? std::to_string(notes.burstSelection) : "");
}

std::optional<std::int64_t> dateIn(const Exiv2::XmpData& xmp) {
  FileMetadata file;
  file.xmp = xmp;
  return photoCreationDate(file);
}

void writeNotes(const WriteXmpRequest& request, Exiv2::XmpData& xmp) {
  Writer writer(xmp);
  // A date that says the same may tell the zone as well.
  if (request.creationDate && dateIn(xmp) != request.creationDate) {
    writer.text(kDateKey, dateText(*request.creationDate));
  }
  if (!request.notes.title.empty()) writer.title(request.notes.title);
  writer.flag(kFavoriteKey, request.notes.favorite);
  if (request.notes.favorite && !writer.has(kRatingKey)) writer.text(kRatingKey, "5");
  if (!request.notes.exported) return;
  writeExported(*request.notes.exported, writer);
  addKeywords(request.notes.exported->albums, xmp);
}

}  // namespace

Result<std::string> writeXmp(const std::string& existing, const WriteXmpRequest& request) {
  auto xmp = existing.empty() ? std::optional<Exiv2::XmpData>(std::in_place) : xmpOf(existing);
  if (!xmp) return Failure(LibraryErrorCode::invalidResource, "the XMP side file is damaged.");
  constexpr std::uint16_t kPlain =
      Exiv2::XmpParser::useCompactFormat | Exiv2::XmpParser::omitPacketWrapper;
  std::string packet;
  try {
    writeNotes(request, *xmp);
    if (Exiv2::XmpParser::encode(packet, *xmp, kPlain) != 0) packet.clear();
  } catch (const std::exception&) {
    packet.clear();
  }
  if (packet.empty() || static_cast<std::int64_t>(packet.size()) > kLargestSideFile) {
    return Failure(LibraryErrorCode::invalidResource, "the XMP side file cannot be written.");
  }
  return packet;
}

Result<FileDescriptor> writeXmpFile(int existing, const WriteXmpRequest& request) {
  std::string packet;
  if (existing >= 0) {
    const auto file = InputFile::open(existing);
    if (!file) return file.error();
    if (file->size() > kLargestSideFile) {
      return Failure(LibraryErrorCode::invalidResource, "the XMP side file is too large.");
    }
    packet = sideContent(*file);
  }
  const auto written = writeXmp(packet, request);
  if (!written) return written.error();
  FileDescriptor memory =
      sealedMemoryOf({reinterpret_cast<const std::uint8_t*>(written->data()), written->size()});
  if (!memory) return Failure(LibraryErrorCode::internal, "memory ran out.");
  return memory;
}

}  // namespace quorvin
