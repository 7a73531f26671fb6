// A list is lines of text, so that a list that was cut short is good up to its last whole line.
#include "platform_linux/library/values/export_list.h"

#include <array>
#include <charconv>
#include <utility>

#include "codec/utf8.h"

namespace quorvin {
namespace {

constexpr std::string_view kFirstLine = "quorvin export 1";
constexpr std::string_view kDigits = "0123456789abcdef";
constexpr std::size_t kHashSize = 16;

std::string asHexadecimal(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    text += kDigits[static_cast<unsigned char>(c) >> 4];
    text += kDigits[static_cast<unsigned char>(c) & 15];
  }
  return text;
}

std::optional<char> byteAt(std::string_view text, std::size_t place) {
  if (place + 2 > text.size()) return std::nullopt;
  const std::size_t high = kDigits.find(text[place]);
  const std::size_t low = kDigits.find(text[place + 1]);
  if (high == kDigits.npos || low == kDigits.npos) return std::nullopt;
  return static_cast<char>(high << 4 | low);
}

/// On one line.
std::string asLine(std::string_view text) {
  std::string line;
  for (const char c : text) {
    if (static_cast<unsigned char>(c) >= ' ' && c != '%') {
      line += c;
    } else {
      line += '%' + asHexadecimal({&c, 1});
    }
  }
  return line;
}

std::string fromLine(std::string_view line) {
  std::string text;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const auto byte = line[i] == '%' ? byteAt(line, i + 1) : std::nullopt;
    text += byte.value_or(line[i]);
    if (byte) i += 2;
  }
  return text;
}

std::string_view nextWord(std::string_view& line) {
  const std::string_view word = line.substr(0, line.find(' '));
  line.remove_prefix(std::min(word.size() + 1, line.size()));
  return word;
}

bool readNumber(std::string_view word, std::int64_t& number) {
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  return error == std::errc() && end == word.data() + word.size() && !word.empty();
}

bool leadsDown(std::string_view path) {
  if (path.empty() || !isUtf8(path) || path.find('\0') != path.npos) return false;
  for (std::size_t begin = 0; begin <= path.size();) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    const std::string_view part = path.substr(begin, end - begin);
    if (part.empty() || part == "." || part == "..") return false;
    begin = end + 1;
  }
  return true;
}

std::optional<ListedFile> readFile(std::string_view line) {
  ListedFile file;
  if (!readNumber(nextWord(line), file.type) || !readNumber(nextWord(line), file.size)) {
    return std::nullopt;
  }
  const std::string_view hash = nextWord(line);
  for (std::size_t i = 0; i < hash.size(); i += 2) {
    const auto byte = byteAt(hash, i);
    if (!byte) return std::nullopt;
    file.hash += *byte;
  }
  file.path = fromLine(line);
  if (file.hash.size() != kHashSize || !leadsDown(file.path)) return std::nullopt;
  return file;
}

}  // namespace

std::string exportListHead(const std::vector<ListedAlbum>& albums) {
  std::string text = std::string(kFirstLine) + "\n";
  for (const ListedAlbum& album : albums) {
    text += "album " + asLine(album.title) + "\n";
    for (const std::string& member : album.members) text += "member " + asLine(member) + "\n";
  }
  return text;
}

std::string exportListLines(const ListedAsset& asset) {
  std::string text = "asset " + std::to_string(asset.row) + " " + asLine(asset.identifier) + "\n";
  for (const ListedFile& file : asset.files) {
    text += "file " + std::to_string(file.type) + " " + std::to_string(file.size) + " " +
            asHexadecimal(file.hash) + " " + asLine(file.path) + "\n";
  }
  return text;
}

bool isExportList(std::string_view text) {
  const std::string head = exportListHead({});
  return std::string_view(head).starts_with(text.substr(0, head.size()));
}

ExportList readExportList(std::string_view text) {
  ExportList list;
  if (!text.starts_with(kFirstLine)) return list;
  for (std::size_t end = text.find('\n'); end != text.npos; end = text.find('\n')) {
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    const std::string_view kind = nextWord(line);
    if (kind == "album") {
      list.albums.push_back({fromLine(line), {}});
    } else if (kind == "member" && !list.albums.empty()) {
      list.albums.back().members.push_back(fromLine(line));
    } else if (kind == "asset") {
      ListedAsset asset;
      if (!readNumber(nextWord(line), asset.row)) continue;
      asset.identifier = fromLine(line);
      list.assets.push_back(std::move(asset));
    } else if (kind == "file" && !list.assets.empty()) {
      if (auto file = readFile(line)) list.assets.back().files.push_back(*std::move(file));
    }
  }
  return list;
}

}  // namespace quorvin
