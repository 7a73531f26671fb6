#include "demo/printing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "tool/json.h"
#include "tool/text.h"

namespace quorvin {
namespace {

constexpr std::size_t kWidestColumn = 40;

bool isNumber(const std::string& text) {
  return !text.empty() && std::ranges::all_of(text, [](char c) {
    return (c >= '0' && c <= '9') || c == '.' || c == ':' || c == '-';
  });
}

std::string padded(const std::string& text, std::size_t size) {
  const std::string blanks(size - columnsOf(text), ' ');
  return isNumber(text) ? blanks + text : text + blanks;
}

std::string mediaTypeName(std::int64_t mediaType) {
  constexpr std::array kNames = {"unknown", "image", "video", "audio"};
  return mediaType >= 0 && mediaType < 4 ? kNames.at(static_cast<std::size_t>(mediaType)) : "?";
}

std::string flags(const Value& asset) {
  std::string text;
  const auto add = [&text](const char* flag) {
    if (!text.empty()) text += ", ";
    text += flag;
  };
  if (flagAt(asset, "isLivePhoto")) add("live");
  if (flagAt(asset, "isFavorite")) add("favorite");
  if (flagAt(asset, "isHidden")) add("hidden");
  if (flagAt(asset, "representsBurst")) add("represents a burst");
  return text;
}

}  // namespace

void Table::add(std::vector<std::string> row) {
  for (std::string& text : row) text = cutToColumns(printable(text), kWidestColumn);
  rows_.push_back(std::move(row));
}

void Table::print() const {
  std::vector<std::size_t> widths(rows_.front().size(), 0);
  for (const auto& row : rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columnsOf(row[i]));
  }
  for (const auto& row : rows_) {
    std::string line = "   ";
    for (std::size_t i = 0; i < row.size(); ++i) {
      line.append(1, ' ').append(padded(row[i], widths[i])).append(1, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    std::puts(line.c_str());
  }
}

std::int64_t integerAt(const Value& map, std::string_view key) {
  const Value* value = map.as<Map>() == nullptr ? nullptr : find(*map.as<Map>(), key);
  const auto* integer = value == nullptr ? nullptr : value->as<std::int64_t>();
  return integer == nullptr ? 0 : *integer;
}

double doubleAt(const Value& map, std::string_view key) {
  const Value* value = map.as<Map>() == nullptr ? nullptr : find(*map.as<Map>(), key);
  const auto* number = value == nullptr ? nullptr : value->as<double>();
  return number == nullptr ? 0 : *number;
}

std::string textAt(const Value& map, std::string_view key) {
  const Value* value = map.as<Map>() == nullptr ? nullptr : find(*map.as<Map>(), key);
  return value == nullptr ? "" : std::string(value->text());
}

bool flagAt(const Value& map, std::string_view key) {
  const Value* value = map.as<Map>() == nullptr ? nullptr : find(*map.as<Map>(), key);
  const auto* flag = value == nullptr ? nullptr : value->as<bool>();
  return flag != nullptr && *flag;
}

std::string readableDate(std::int64_t milliseconds) {
  const auto seconds =
      static_cast<std::time_t>(std::floor(static_cast<double>(milliseconds) / 1e3));
  std::tm local{};
  localtime_r(&seconds, &local);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local);
  return text.data();
}

std::string readableDuration(double milliseconds) {
  if (milliseconds == 0) return "";
  std::array<char, 32> text{};
  const double seconds = milliseconds / 1000;
  const auto minutes = static_cast<int>(seconds / 60);
  std::snprintf(text.data(), text.size(), "%d:%04.1f", minutes, seconds - 60.0 * minutes);
  return text.data();
}

std::string readableSize(std::size_t bytes) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f kB", static_cast<double>(bytes) / 1000);
  return text.data();
}

void printGalleries(const List& galleries) {
  if (galleries.empty()) {
    std::puts("    (none)");
    return;
  }
  Table table({"type", "title", "photos", "videos", "audio", "total", "id"});
  for (const Value& gallery : galleries) {
    const Value* counts = find(*gallery.as<Map>(), "assetCount");
    table.add({textAt(gallery, "type"), textAt(gallery, "title"),
               std::to_string(integerAt(*counts, "photoCount")),
               std::to_string(integerAt(*counts, "videoCount")),
               std::to_string(integerAt(*counts, "audioCount")),
               std::to_string(integerAt(*counts, "totalCount")),
               textAt(gallery, "id").substr(0, 8) + "…"});
  }
  table.print();
}

void printAssets(const List& assets) {
  if (assets.empty()) {
    std::puts("    (none)");
    return;
  }
  Table table({"type", "width", "height", "created", "milliseconds", "length", "flags", "id"});
  for (const Value& asset : assets) {
    const std::int64_t created = integerAt(asset, "creationDate");
    table.add({mediaTypeName(integerAt(asset, "mediaType")),
               std::to_string(integerAt(asset, "width")),
               std::to_string(integerAt(asset, "height")), readableDate(created),
               std::to_string(created), readableDuration(doubleAt(asset, "duration")), flags(asset),
               textAt(asset, "id").substr(0, 8) + "…"});
  }
  table.print();
}

void printValue(const Value& value) {
  std::printf("    %s\n", textOf(jsonFromValue(value)).c_str());
}

}  // namespace quorvin
