#include "media_worker/reading/movie_tables.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "media_worker/reading/boxes.h"

namespace quorvin {

namespace {

/// A day of 60 frames a second with its sound; readers need some 30 bytes for each.
constexpr std::int64_t kMostSamples = 10'000'000;
/// Samples that edits go through, each through all of its track at worst: ten minutes of 60 frames
/// a second in five hundred pieces. They come to half a gigabyte.
constexpr std::int64_t kMostEdited = 20'000'000;
/// Boxes in a row, and fragments that are looked at: a quarter of an hour of them.
constexpr int kMostBoxesInside = 10'000;
constexpr int kMostFragments = 1'000;
/// Samples of plain sound that readers take for one.
constexpr std::int64_t kPlainSamples = 1'024;

using OptionalBox = std::optional<Box>;

/// Calls `visit(box)` for the boxes inside of this one until it returns false.
template <class Visit>
void forEachInside(const InputFile& file, std::int64_t begin, std::int64_t end, Visit&& visit) {
  for (int count = 0; count < kMostBoxesInside && begin < end; ++count) {
    const OptionalBox box = boxAt(file, begin, end);
    if (!box || !visit(*box)) return;
    begin = box->end;
  }
}

OptionalBox inside(const InputFile& file, const OptionalBox& box, std::string_view type) {
  return box ? findBox(file, type, box->begin, box->end) : std::nullopt;
}

/// Four bytes of the box, highest first; 0 where there are none.
std::int64_t numberIn(const InputFile& file, const OptionalBox& box, std::int64_t offset) {
  std::array<std::uint8_t, 4> bytes{};
  if (!box || box->end - box->begin < offset + 4) return 0;
  if (file.readAt(box->begin + offset, bytes) < bytes.size()) return 0;
  return std::int64_t{bytes[0]} << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3];
}

/// Whether readers make an entry for many samples at once: sounds whose samples have one length.
bool isPlainSound(const InputFile& file, const OptionalBox& media, const OptionalBox& table) {
  constexpr std::int64_t kSound = 0x736f756e;
  const OptionalBox times = inside(file, table, "stts");
  return numberIn(file, inside(file, media, "hdlr"), 8) == kSound &&
         numberIn(file, times, 4) == 1 && numberIn(file, times, 12) == 1;
}

/// Entries that readers make for plain sound: by chunks, of which runs have the same length.
std::int64_t plainEntries(const InputFile& file, const OptionalBox& table) {
  const OptionalBox runs = inside(file, table, "stsc");
  OptionalBox places = inside(file, table, "stco");
  if (!places) places = inside(file, table, "co64");
  const std::int64_t chunks = numberIn(file, places, 4);
  const std::int64_t count = numberIn(file, runs, 4);
  std::int64_t entries = 0;
  for (std::int64_t i = 0; i < count && entries <= kMostSamples; ++i) {
    const std::int64_t first = numberIn(file, runs, 8 + 12 * i);
    const std::int64_t next = i + 1 < count ? numberIn(file, runs, 20 + 12 * i) : chunks + 1;
    if (first == 0) break;  // behind the end of the box
    const std::int64_t perChunk = numberIn(file, runs, 12 + 12 * i) / kPlainSamples + 1;
    entries += std::max<std::int64_t>(next - first, 0) * perChunk;
  }
  return entries;
}

class Claims {
 public:
  explicit Claims(const InputFile& file) : file_(file) {}

  bool areTooMuch() {
    forEachInside(file_, 0, file_.size(), [this](const Box& box) {
      if (box.type == "moov") addMovie(box);
      if (box.type == "moof") addFragment(box);
      return !tooMuch() && fragments_ < kMostFragments;
    });
    return tooMuch();
  }

 private:
  bool tooMuch() const {
    return tracks_ > kMostTracks || samples_ > kMostSamples || edited_ > kMostEdited;
  }

  void addMovie(const Box& movie) {
    forEachInside(file_, movie.begin, movie.end, [this](const Box& box) {
      if (box.type == "trak") addTrack(box);
      return !tooMuch();
    });
  }

  void addTrack(const OptionalBox& track) {
    ++tracks_;
    const OptionalBox media = inside(file_, track, "mdia");
    const OptionalBox table = inside(file_, inside(file_, media, "minf"), "stbl");
    const std::int64_t samples = isPlainSound(file_, media, table)
                                     ? plainEntries(file_, table)
                                     : numberIn(file_, inside(file_, table, "stsz"), 8) +
                                           numberIn(file_, inside(file_, table, "stz2"), 8);
    const OptionalBox edits = inside(file_, inside(file_, track, "edts"), "elst");
    samples_ += samples;
    // A first one that is empty says when the track begins.
    edited_ += std::max<std::int64_t>(numberIn(file_, edits, 4) - 2, 0) * samples;
  }

  void addFragment(const Box& fragment) {
    ++fragments_;
    forEachInside(file_, fragment.begin, fragment.end, [this](const Box& track) {
      if (track.type != "traf") return true;
      forEachInside(file_, track.begin, track.end, [this](const Box& run) {
        if (run.type == "trun") samples_ += numberIn(file_, run, 4);
        return !tooMuch();
      });
      return !tooMuch();
    });
  }

  const InputFile& file_;
  std::int64_t tracks_ = 0;
  std::int64_t samples_ = 0;
  std::int64_t edited_ = 0;
  int fragments_ = 0;
};

}  // namespace

bool claimsTooMuch(const InputFile& file) {
  return Claims(file).areTooMuch();
}

}  // namespace quorvin
