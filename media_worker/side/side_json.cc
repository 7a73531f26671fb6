#include "media_worker/side/side_json.h"

#include <charconv>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "media_worker/side/side_text.h"

namespace quorvin {
namespace {

using nlohmann::json;

constexpr std::size_t kDeepest = 64;

/// Takes the few values that matter from the parser's events, and keeps nothing else.
class NoteTaker final : public nlohmann::json_sax<json> {
 public:
  bool hasPhotoTime = false;  ///< an object, whatever it holds
  bool hasTitle = false;
  bool hasAlbumTitle = false;
  bool favorite = false;
  std::string timestamp;
  std::string title;
  std::string albumTitle;

  bool null() override { return true; }
  bool boolean(bool value) override {
    if (isAt("favorited")) favorite = value;
    return true;
  }
  bool number_integer(number_integer_t value) override { return number(std::to_string(value)); }
  bool number_unsigned(number_unsigned_t value) override { return number(std::to_string(value)); }
  bool number_float(number_float_t, const string_t&) override { return true; }
  bool binary(binary_t&) override { return false; }
  bool string(string_t& value) override {
    if (isAt("title")) {
      hasTitle = true;
      title = std::move(value);
    } else if (isAt("albumData", "title")) {
      hasAlbumTitle = true;
      albumTitle = std::move(value);
    } else if (isAt("photoTakenTime", "timestamp")) {
      timestamp = std::move(value);
    }
    return true;
  }

  bool start_object(std::size_t) override {
    if (isAt("photoTakenTime")) hasPhotoTime = true;
    return open();
  }
  bool key(string_t& value) override {
    keys_.back() = std::move(value);
    return true;
  }
  bool end_object() override { return close(); }
  bool start_array(std::size_t) override { return open(); }
  bool end_array() override { return close(); }

  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
    return false;
  }

 private:
  bool isAt(std::string_view only) const { return keys_.size() == 1 && keys_[0] == only; }
  bool isAt(std::string_view first, std::string_view second) const {
    return keys_.size() == 2 && keys_[0] == first && keys_[1] == second;
  }
  bool number(std::string text) {
    if (isAt("photoTakenTime", "timestamp")) timestamp = std::move(text);
    return true;
  }
  bool open() {
    keys_.emplace_back();
    return keys_.size() <= kDeepest;
  }
  bool close() {
    keys_.pop_back();
    return true;
  }

  std::vector<std::string> keys_;  ///< of what is open; those of lists are empty
};

std::optional<std::int64_t> dateOf(const std::string& seconds) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  std::int64_t value = 0;
  const char* end = seconds.data() + seconds.size();
  const auto [rest, error] = std::from_chars(seconds.data(), end, value);
  if (error != std::errc() || rest != end || __builtin_mul_overflow(value, kSecond, &value)) {
    return std::nullopt;
  }
  return value;
}

}  // namespace

bool readJson(std::string_view content, std::string_view name, MediaProbe& probe) {
  NoteTaker taker;
  if (!json::sax_parse(content, &taker)) return false;
  if (taker.hasPhotoTime) {
    probe.notes.kind = SideKind::takeout;
    probe.notes.title = shortText(std::move(taker.title));
    probe.notes.favorite = taker.favorite;
    probe.creationDate = dateOf(taker.timestamp);
    return true;
  }
  if (name != "metadata.json" || !(taker.hasTitle || taker.hasAlbumTitle)) return false;
  probe.notes.kind = SideKind::album;
  probe.notes.title = shortText(std::move(taker.hasAlbumTitle ? taker.albumTitle : taker.title));
  return true;
}

}  // namespace quorvin
