// Indexes and triggers are put aside meanwhile: to make an index of all rows at once takes a
// fraction of the time.
#include "testing/library/generated_library.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <random>
#include <utility>
#include <vector>

#include "platform_linux/library/catalogue/album_rows.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/opening/opening.h"
#include "platform_linux/library/places/place_schema.h"
#include "platform_linux/library/values/identifiers.h"

namespace quorvin {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kFirstDate = 1'104'537'600 * kSecond;  // 2005
constexpr std::int64_t kTwentyYears = 20LL * 365 * 86'400 * kSecond;
constexpr std::int64_t kBurstEvery = 600;
constexpr std::int64_t kBurstLength = 8;
constexpr std::int64_t kBatchOfOldOnes = 400;  // one in twenty batches

class Generator {
 public:
  Generator(Database& database, const GeneratedLibrary& wanted)
      : database_(database), wanted_(wanted), random_(wanted.seed) {}

  bool run() {
    return putAside() && makeAssets() && makeAlbums() && putBack() && rebuildPlaces(database_);
  }

 private:
  std::int64_t below(std::int64_t end) {
    return static_cast<std::int64_t>(random_() % static_cast<std::uint64_t>(end));
  }
  bool percent(double chance) { return static_cast<double>(below(1'000'000)) < chance * 10'000; }

  bool putAside() {
    std::vector<std::pair<std::string, std::string>> found;
    {
      Statement rows = database_.prepare(
          "SELECT type || ' ' || name, sql FROM sqlite_schema WHERE type IN ('index', 'trigger')"
          " AND sql IS NOT NULL AND tbl_name IN ('assets', 'resources', 'members')");
      while (rows.next()) found.emplace_back(rows.text(0), rows.text(1));
    }
    for (auto& [name, sql] : found) {
      if (!database_.execute("DROP " + name)) return false;
      aside_.push_back(std::move(sql));
    }
    return true;
  }

  bool putBack() {
    return std::ranges::all_of(aside_,
                               [this](const std::string& sql) { return database_.execute(sql); });
  }

  std::string uuid() {
    char text[40];
    std::snprintf(text, sizeof text, "%08llX-%04llX-4%03llX-8%03llX-%012llX",
                  static_cast<unsigned long long>(random_() >> 32),
                  static_cast<unsigned long long>(random_() >> 48),
                  static_cast<unsigned long long>(random_() >> 52),
                  static_cast<unsigned long long>(random_() >> 52),
                  static_cast<unsigned long long>(random_() >> 16));
    return text;
  }

  // A little after the last one; whole batches of old pictures were added between.
  std::int64_t nextDate(std::int64_t number) {
    const std::int64_t step = kTwentyYears / wanted_.assets;
    if (number % kBatchOfOldOnes == 0) {
      isOld_ = percent(5);
      oldDate_ = kFirstDate + below(kTwentyYears);
    }
    if (isOld_) return oldDate_ += below(60 * kSecond);
    return kFirstDate + number * step + below(20 * step);
  }

  struct Burst {
    std::optional<std::string> identifier;
    bool represents = false;
  };
  Burst burstOf(std::int64_t number) const {
    const std::int64_t place = number % kBurstEvery;
    if (place >= kBurstLength || number < kBurstEvery) return {};
    return {"BURST-" + std::to_string(number / kBurstEvery), place == 0};
  }

  std::int64_t subtypesOf(std::int64_t mediaType) {
    if (mediaType == 2)
      return percent(5) ? 0x20000 : (percent(3) ? 0x40000 : (percent(4) ? 0x80000 : 0));
    if (mediaType != 1) return 0;
    if (percent(20)) return 8;
    if (percent(5)) return 4;
    if (percent(2)) return 16;
    return percent(0.3) ? 1 : 0;
  }

  bool makeAssets() {
    Statement asset = database_.prepare(
        "INSERT INTO assets(id, ident, media_type, subtypes, width, height, duration, created_ns,"
        " modified_ns, added_ns, favorite, hidden, burst_id, burst_sel, represents, visible,"
        " trashed_ns, front_camera, animated, raw, source_folder)"
        " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    Statement resource = database_.prepare(
        "INSERT INTO resources(asset, pos, type, name, uti, path, size, hash, orientation)"
        " VALUES (?, 0, ?, ?, ?, ?, ?, randomblob(16), 1)");
    for (std::int64_t number = 0; number < wanted_.assets; ++number) {
      const std::string identifier = uuid();
      const Burst burst = burstOf(number);
      const bool isPlain = !burst.identifier;
      const bool isSound = isPlain && percent(0.1);
      const bool isVideo = isPlain && !isSound && percent(2);
      const std::int64_t mediaType = isSound ? 3 : (isVideo ? 2 : 1);
      const std::int64_t date = nextDate(number);
      const std::string whole = identifier + "/L0/001";
      const bool isUpright = percent(40);
      const bool isImage = mediaType == 1;
      asset.rewind();
      asset.bind(number + 1, whole, mediaType, isPlain ? subtypesOf(mediaType) : 0,
                 isSound ? 0 : (isUpright ? 3024 : 4032), isSound ? 0 : (isUpright ? 4032 : 3024),
                 isImage ? 0.0 : 1 + static_cast<double>(below(90'000)) / 1000);
      asset.bind(percent(0.1) ? std::nullopt : std::optional(date), date, date + kSecond,
                 percent(1) ? 1 : 0, percent(0.2) ? 1 : 0, burst.identifier,
                 burst.represents ? 1 : 0, burst.represents ? 1 : 0,
                 isPlain || burst.represents ? 1 : 0,
                 percent(0.5) ? std::optional(date + kTwentyYears) : std::nullopt);
      asset.bind(isImage && percent(4) ? 1 : 0, isImage && percent(0.3) ? 1 : 0,
                 isImage && percent(1) ? 1 : 0, number / 1000);
      if (!asset.run()) return false;
      char name[32];
      std::snprintf(name, sizeof name, "IMG_%04lld", static_cast<long long>(number % 10'000));
      const char* ending = isImage ? ".heic" : (isVideo ? ".mp4" : ".m4a");
      const char* type =
          isImage ? "public.heic" : (isVideo ? "public.mpeg-4" : "public.mpeg-4-audio");
      const std::string fileName = std::string(name) + ending;
      const std::string path = identifier.substr(0, 2) + "/" + identifier + ending;
      resource.rewind();
      resource.bind(number + 1, mediaType, fileName, std::string_view(type), path,
                    1'000'000 + below(4'000'000));
      if (!resource.run()) return false;
    }
    return true;
  }

  // What was taken in one stretch of time, or is strewn over many years.
  bool makeAlbums() {
    for (std::int64_t number = 1; number <= wanted_.albums; ++number) {
      const auto album =
          insertAlbum(database_, newCollectionIdentifier(), "Album " + std::to_string(number));
      if (!album) return false;
      if (number % 100 == 0) continue;
      const std::int64_t size =
          std::clamp<std::int64_t>(wanted_.largestAlbum / number, 1, wanted_.assets);
      const std::int64_t stride =
          number % 2 == 1 ? std::max<std::int64_t>(1, wanted_.assets / size) : 1;
      const std::int64_t first = below(wanted_.assets - (size - 1) * stride) + 1;
      Statement member =
          database_.prepare("INSERT INTO members(collection, asset, pos) VALUES (?, ?, ?)");
      for (std::int64_t i = 0; i < size; ++i) {
        member.rewind();
        if (!member.bind(*album, first + i * stride, i).run()) return false;
      }
    }
    return true;
  }

  Database& database_;
  const GeneratedLibrary wanted_;
  std::mt19937_64 random_;
  std::vector<std::string> aside_;
  bool isOld_ = false;
  std::int64_t oldDate_ = 0;
};

}  // namespace

Done generateLibrary(const std::string& path, const GeneratedLibrary& wanted) {
  const auto catalogue =
      openCatalogue(path, MissingLibrary::make, PHAuthorizationStatus::authorized);
  if (!catalogue) return catalogue.error();
  const auto database =
      Database::open((*catalogue)->folder().catalogueFile(), Database::Use::write);
  if (!database) return database.error();
  const bool done = (*database)->execute("PRAGMA synchronous=OFF; PRAGMA cache_size=-400000") &&
                    (*database)->execute("BEGIN IMMEDIATE") &&
                    Generator(**database, wanted).run() && (*database)->execute("COMMIT");
  if (!done) return (*database)->lastError("the library cannot be generated");
  (*database)->emptyLog();
  return Null{};
}

}  // namespace quorvin
