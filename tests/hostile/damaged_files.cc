#include <algorithm>
#include <array>
#include <random>
#include <utility>

#include "tests/hostile/hostile_files.h"
#include "tests/hostile/hostile_pictures.h"

namespace quorvin {

namespace {

using Random = std::mt19937_64;

/// Structure stands at the beginning.
constexpr std::size_t kBeginning = 600;

std::size_t below(Random& random, std::size_t limit) {
  return limit == 0 ? 0 : static_cast<std::size_t>(random() % limit);
}

std::size_t placeIn(Random& random, const Bytes& file) {
  const bool early = below(random, 2) == 0;
  return below(random, early ? std::min(kBeginning, file.size()) : file.size());
}

void flipBits(Random& random, Bytes& file) {
  for (std::size_t left = 1 + below(random, 8); left > 0; --left) {
    file[placeIn(random, file)] ^= static_cast<std::uint8_t>(1U << below(random, 8));
  }
}

/// A number that lies about a length, a size or a count.
void lie(Random& random, Bytes& file) {
  constexpr std::array<std::uint64_t, 10> kLies{
      0, 1, 7, 0x7f, 0x80, 0xff, 0x7fff, 0xffff, 0x7fffffff, 0xffffffffffffffff};
  for (std::size_t left = 1 + below(random, 3); left > 0; --left) {
    const std::size_t size = std::size_t{1} << below(random, 4);
    const std::size_t place = placeIn(random, file);
    const std::uint64_t value = kLies.at(below(random, kLies.size()));
    const bool highestFirst = below(random, 2) == 0;
    for (std::size_t i = 0; i < size && place + i < file.size(); ++i) {
      const std::size_t shift = 8 * (highestFirst ? size - 1 - i : i);
      file[place + i] = static_cast<std::uint8_t>(value >> shift);
    }
  }
}

Bytes part(const Bytes& file, std::size_t from, std::size_t size) {
  const auto first = file.begin() + static_cast<std::ptrdiff_t>(std::min(from, file.size()));
  return {first, first + static_cast<std::ptrdiff_t>(
                             std::min(size, static_cast<std::size_t>(file.end() - first)))};
}

void removePart(Random& random, Bytes& file) {
  const std::size_t from = placeIn(random, file);
  const std::size_t size = 1 + below(random, 64);
  file = concatenated({firstBytes(file, from), part(file, from + size, file.size())});
}

void repeatPart(Random& random, Bytes& file) {
  const std::size_t from = placeIn(random, file);
  const Bytes repeated = part(file, from, 1 + below(random, 200));
  const Bytes rest = part(file, from, file.size());
  Bytes result = firstBytes(file, from);
  for (std::size_t left = std::size_t{1} << below(random, 12); left > 0; --left) {
    result.insert(result.end(), repeated.begin(), repeated.end());
  }
  file = concatenated({result, rest});
}

/// `place` counts the bytes of all files.
HostileFile cutAt(const std::vector<HostileFile>& files, std::size_t number, std::size_t place) {
  auto file = files.begin();
  while (place >= file->bytes.size() && file + 1 != files.end()) {
    place -= file->bytes.size();
    ++file;
  }
  return {"cut" + std::to_string(number) + "_" + file->name, firstBytes(file->bytes, place)};
}

}  // namespace

CutFiles::CutFiles(std::size_t most) {
  // Of larger ones a cut here and there tells as much.
  constexpr std::size_t kSmall = 1'500;
  for (HostileFile& each : genuineFiles()) {
    if (each.bytes.size() > kSmall) continue;
    bytes_ += each.bytes.size();
    genuine_.push_back(std::move(each));
  }
  count_ = std::min(most, bytes_);
}

HostileFile CutFiles::at(std::size_t number) const {
  return cutAt(genuine_, number, number * bytes_ / count_);
}

DamagedFiles::DamagedFiles(std::size_t count) : count_(count), genuine_(genuineFiles()) {
  for (const HostileFile& each : genuine_) bytes_ += each.bytes.size();
}

HostileFile DamagedFiles::at(std::size_t number) const {
  return number % 2 == 0 ? cutShort(number) : changed(number);
}

HostileFile DamagedFiles::cutShort(std::size_t number) const {
  return cutAt(genuine_, number, number * bytes_ / std::max<std::size_t>(1, count_));
}

HostileFile DamagedFiles::changed(std::size_t number) const {
  Random random(number);
  const auto any = [&]() -> const HostileFile& {
    return genuine_.at(below(random, genuine_.size()));
  };
  const HostileFile& genuine = any();
  HostileFile file{"changed" + std::to_string(number) + "_" + genuine.name, genuine.bytes};
  for (std::size_t left = 1 + below(random, 2); left > 0 && !file.bytes.empty(); --left) {
    switch (below(random, 10)) {
      case 0:
        removePart(random, file.bytes);
        break;
      case 1:
        repeatPart(random, file.bytes);
        break;
      case 2:
        file.bytes = concatenated({firstBytes(file.bytes, placeIn(random, file.bytes)),
                                   part(any().bytes, placeIn(random, file.bytes), 5'000)});
        break;
      case 3:
      case 4:
      case 5:
        flipBits(random, file.bytes);
        break;
      default:
        lie(random, file.bytes);
    }
  }
  // What its checksums tell of is refused at once.
  if (genuine.name.ends_with(".png")) repairPng(file.bytes);
  return file;
}

}  // namespace quorvin
