// The record is one text, for an attribute's room is small and each one costs. Where an attribute
// cannot be had, the text lies below `records/`, in a file that is called as the original is.
#include "platform_linux/library/originals/original_record.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <functional>
#include <map>
#include <span>
#include <utility>

#include "codec/standard_message_codec.h"
#include "platform_linux/errors/system_failure.h"
#include "platform_linux/library/originals/original_path.h"
#include "posix/file_descriptor.h"
#include "posix/write_all.h"

namespace quorvin {
namespace {

constexpr const char* kAttribute = "user.quorvin.record";
constexpr std::size_t kLongestRecord = 65'536;  // as long as an attribute can be
constexpr std::string_view kHexadecimal = "0123456789abcdef";

// Names may hold line breaks.
std::string escaped(std::string_view text) {
  std::string line;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte != 0x7F && c != '%') {
      line += c;
    } else {
      (line += '%') += kHexadecimal[byte >> 4];
      line += kHexadecimal[byte & 15];
    }
  }
  return line;
}

std::optional<unsigned> digitOf(char c) {
  const auto digit = kHexadecimal.find(c);
  if (digit == std::string_view::npos) return std::nullopt;
  return static_cast<unsigned>(digit);
}

std::string unescaped(std::string_view line) {
  std::string text;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '%' && i + 2 < line.size()) {
      const auto high = digitOf(line[i + 1]);
      const auto low = digitOf(line[i + 2]);
      if (high && low) {
        text += static_cast<char>(*high << 4 | *low);
        i += 2;
        continue;
      }
    }
    text += line[i];
  }
  return text;
}

std::string hexadecimal(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    text += kHexadecimal[static_cast<unsigned char>(c) >> 4];
    text += kHexadecimal[static_cast<unsigned char>(c) & 15];
  }
  return text;
}

std::string bytesOf(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    const auto high = digitOf(text[i]);
    const auto low = digitOf(text[i + 1]);
    if (!high || !low) return {};
    bytes += static_cast<char>(*high << 4 | *low);
  }
  return bytes;
}

template <class Number>
std::string numeral(Number number) {
  std::array<char, 40> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  return {digits.data(), end};
}

class Lines {
 public:
  explicit Lines(std::string_view text) {
    while (!text.empty()) {
      const std::string_view line = text.substr(0, text.find('\n'));
      text.remove_prefix(std::min(line.size() + 1, text.size()));
      const std::size_t blank = line.find(' ');
      if (blank == std::string_view::npos) continue;
      lines_.emplace(line.substr(0, blank), line.substr(blank + 1));
    }
  }
  std::string text(std::string_view key) const {
    const auto found = lines_.find(key);
    return found == lines_.end() ? std::string() : unescaped(found->second);
  }
  template <class Number>
  std::optional<Number> find(std::string_view key) const {
    const auto found = lines_.find(key);
    if (found == lines_.end()) return std::nullopt;
    Number number{};
    const std::string_view digits = found->second;
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), number);
    if (error != std::errc() || end != digits.end()) return std::nullopt;
    return number;
  }
  template <class Number = std::int64_t>
  Number number(std::string_view key, Number otherwise = 0) const {
    return find<Number>(key).value_or(otherwise);
  }

 private:
  std::map<std::string_view, std::string_view, std::less<>> lines_;
};

std::string textOfNotes(const SideNotes& notes) {
  const std::vector<std::uint8_t> message = encodeMessage(notesToMap(notes));
  return hexadecimal({reinterpret_cast<const char*>(message.data()), message.size()});
}

SideNotes notesFromText(std::string_view text) {
  const std::string bytes = bytesOf(text);
  const auto value =
      decodeMessage({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
  const Map* map = value ? value->as<Map>() : nullptr;
  return map == nullptr ? SideNotes() : notesFromMap(*map).value_or(SideNotes());
}

MediaProbe probeOf(const Lines& lines) {
  MediaProbe probe;
  probe.kind = static_cast<MediaKind>(lines.number("kind"));
  probe.mediaSubtypes = lines.number<std::uint64_t>("subtypes");
  probe.pixelWidth = lines.number("width");
  probe.pixelHeight = lines.number("height");
  probe.duration = lines.number<double>("duration");
  probe.frameRate = lines.number<double>("rate");
  probe.captureFrameRate = lines.number<double>("captureRate");
  probe.creationDate = lines.find<std::int64_t>("created");
  probe.contentIdentifier = lines.text("content");
  probe.burstIdentifier = lines.text("burst");
  probe.burstPrimary = lines.number("burstPrimary") != 0;
  probe.frontCamera = lines.number("frontCamera") != 0;
  probe.animated = lines.number("animated") != 0;
  probe.raw = lines.number("raw") != 0;
  if (probe.kind == MediaKind::side) probe.notes = notesFromText(lines.text("notes"));
  return probe;
}

Done writeSideRecord(const LibraryFolder& folder, const std::string& path,
                     const std::string& text) {
  const std::string side = sideRecordPath(path);
  const std::string shelf = side.substr(0, side.rfind('/'));
  const Folder& held = *folder.held;
  constexpr mode_t kPrivate = 0700;
  for (const std::string& each : {std::string(LibraryFolder::kRecords), shelf}) {
    if (held.makeFolder(each, kPrivate) == 0) held.setMode(each, kPrivate);
  }
  const FileDescriptor file = held.openFile(side, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  const std::span<const std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(text.data()),
                                            text.size());
  int error = file ? writeAll(file.get(), bytes) : errno;
  if (error == 0 && ::fsync(file.get()) != 0) error = errno;
  if (error != 0) return systemFailure("the record of an original cannot be written", error);
  for (const std::string& each : {shelf, std::string(LibraryFolder::kRecords), std::string()}) {
    if (auto synced = syncFolder(folder, each); !synced) return synced;
  }
  return Null{};
}

std::string readSideRecord(const LibraryFolder& folder, const std::string& path) {
  const FileDescriptor file = folder.held->openRegularFile(sideRecordPath(path));
  std::string text(kLongestRecord, '\0');
  const ssize_t size = file ? ::read(file.get(), text.data(), text.size()) : 0;
  text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  return text;
}

/// What a file can be; anything else comes from damage, or from somebody who wishes no good.
bool isPossible(const OriginalRecord& record) {
  const MediaProbe& probe = record.asset.probe;
  const auto isUpTo = [](double most, double value) { return value >= 0 && value <= most; };
  return probe.kind >= MediaKind{} && probe.kind <= MediaKind::side && probe.pixelWidth >= 0 &&
         probe.pixelHeight >= 0 && isUpTo(kMostSeconds, probe.duration) &&
         isUpTo(kMostFrames, probe.frameRate) && isUpTo(kMostFrames, probe.captureFrameRate) &&
         record.resource.size >= -1 && record.resource.orientation >= 1 &&
         record.resource.orientation <= 8;
}

}  // namespace

std::string textOf(const OriginalRecord& record) {
  const NewAsset& asset = record.asset;
  const MediaProbe& probe = asset.probe;
  const NewResource& resource = record.resource;
  std::string text;
  const auto line = [&text](std::string_view key, const std::string& value) {
    ((text.append(key) += ' ') += value) += '\n';
  };
  const auto mark = [&line](std::string_view key, bool isSet) {
    if (isSet) line(key, "1");
  };
  line("asset", asset.identifier);
  line("added", numeral(asset.added));
  line("type", numeral(static_cast<std::int64_t>(resource.type)));
  line("name", escaped(resource.name));
  line("uti", escaped(resource.uniformTypeIdentifier));
  line("size", numeral(resource.size));
  line("hash", hexadecimal(resource.hash));
  line("orientation", numeral(resource.orientation));
  line("kind", numeral(static_cast<int>(probe.kind)));
  line("subtypes", numeral(probe.mediaSubtypes));
  line("width", numeral(probe.pixelWidth));
  line("height", numeral(probe.pixelHeight));
  line("duration", numeral(probe.duration));
  line("rate", numeral(probe.frameRate));
  line("captureRate", numeral(probe.captureFrameRate));
  if (probe.creationDate) line("created", numeral(*probe.creationDate));
  line("modified", numeral(asset.modified));
  if (asset.sourceFolder) line("folder", numeral(*asset.sourceFolder));
  if (!probe.contentIdentifier.empty()) line("content", escaped(probe.contentIdentifier));
  if (!probe.burstIdentifier.empty()) line("burst", escaped(probe.burstIdentifier));
  mark("burstPrimary", probe.burstPrimary);
  mark("frontCamera", probe.frontCamera);
  mark("animated", probe.animated);
  mark("raw", probe.raw);
  if (probe.kind == MediaKind::side) line("notes", textOfNotes(probe.notes));
  return text;
}

std::optional<OriginalRecord> recordFromText(std::string_view text) {
  const Lines lines(text);
  OriginalRecord record;
  record.asset.identifier = lines.text("asset");
  const auto type = lines.find<std::int64_t>("type");
  if (!isAssetIdentifier(record.asset.identifier) || !type || !lines.find<int>("kind")) {
    return std::nullopt;
  }
  record.asset.probe = probeOf(lines);
  record.asset.added = lines.number("added");
  record.asset.modified = lines.number("modified");
  record.asset.sourceFolder = lines.find<std::int64_t>("folder");
  record.resource.type = static_cast<PHAssetResourceType>(*type);
  record.resource.name = lines.text("name");
  record.resource.uniformTypeIdentifier = lines.text("uti");
  record.resource.size = lines.number("size", std::int64_t{-1});
  record.resource.hash = bytesOf(lines.text("hash"));
  record.resource.orientation = lines.number<int>("orientation", 1);
  return isPossible(record) ? std::optional(std::move(record)) : std::nullopt;
}

Done writeRecord(const LibraryFolder& folder, int file, const OriginalRecord& record) {
  const std::string text = textOf(record);
  if (::fsetxattr(file, kAttribute, text.data(), text.size(), 0) == 0) return Null{};
  return writeSideRecord(folder, record.resource.path, text);
}

std::optional<OriginalRecord> readRecord(const LibraryFolder& folder, const std::string& path) {
  const std::string original = std::string(LibraryFolder::kOriginals) + "/" + path;
  const FileDescriptor file = folder.held->openRegularFile(original);
  std::string text(kLongestRecord, '\0');
  const ssize_t size = file ? ::fgetxattr(file.get(), kAttribute, text.data(), text.size()) : -1;
  text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  if (size < 0) text = readSideRecord(folder, path);
  auto record = recordFromText(text);
  if (record) record->resource.path = path;
  return record;
}

void removeRecord(const LibraryFolder& folder, const std::string& path) {
  if (resourcePathIsOurs(path)) folder.held->removeFile(sideRecordPath(path));
}

std::string sideRecordPath(const std::string& path) {
  return std::string(LibraryFolder::kRecords) + "/" + path;
}

}  // namespace quorvin
