#include "media_worker/headers/tiff_directories.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>
#include <vector>

namespace quorvin {

namespace {

/// Pages of a scanned book; libtiff compares each with all before it.
constexpr int kMostDirectories = 2'000;
/// A camera writes some hundred, and a page some twenty.
constexpr std::int64_t kMostTags = 60'000;
/// Tags share small values here and there.
constexpr std::int64_t kSharedValueBytes = 1 << 20;

enum DirectoryTag : std::uint64_t {
  kSubDirectories = 0x014A,
  kExifDirectory = 0x8769,
  kPlaceDirectory = 0x8825,
  kInteroperabilityDirectory = 0xA005,
};

using ReadBytes = std::function<std::size_t(std::int64_t offset, std::span<std::uint8_t> into)>;

/// Bytes of one value of the type; 0 for those that there are not.
std::int64_t valueSizeOf(std::uint64_t type) {
  constexpr std::array<std::int64_t, 19> kSizes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4,
                                                8, 4, 8, 4, 0, 0, 8, 8, 8};
  return type < kSizes.size() ? kSizes.at(type) : 0;
}

/// Walks through the directories of one TIFF, as far as they can be read.
class DirectoryWalk {
 public:
  DirectoryWalk(ReadBytes read, std::int64_t size) : read_(std::move(read)), size_(size) {}

  bool findsTooMany() {
    if (!begin()) return false;
    // Directories that lead back to one before end here as well.
    for (int count = 0; !waiting_.empty(); ++count) {
      if (count == kMostDirectories) return true;
      const std::int64_t directory = waiting_.back();
      waiting_.pop_back();
      readDirectory(directory);
      if (tags_ > kMostTags || valueBytes_ > 2 * size_ + kSharedValueBytes) return true;
    }
    return false;
  }

 private:
  /// The header: the order of bytes, a version, and where the first directory is.
  bool begin() {
    std::array<std::uint8_t, 16> head{};
    if (read_(0, head) < 8) return false;
    if (head[0] != head[1] || (head[0] != 'I' && head[0] != 'M')) return false;
    little_ = head[0] == 'I';
    // Raw photos have versions of their own.
    wide_ = number(std::span(head).subspan(2, 2)) == 43;
    const auto first = std::span(head).subspan(wide_ ? 8 : 4, wide_ ? 8 : 4);
    addDirectory(number(first));
    return true;
  }

  void addDirectory(std::uint64_t offset) {
    const bool lies = offset > 0 && offset < static_cast<std::uint64_t>(size_);
    if (lies) waiting_.push_back(static_cast<std::int64_t>(offset));
  }

  std::uint64_t number(std::span<const std::uint8_t> bytes) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      value = value << 8 | bytes[little_ ? bytes.size() - 1 - i : i];
    }
    return value;
  }

  /// The number at the offset; 0 where there is none.
  std::uint64_t numberAt(std::int64_t offset, std::size_t size) const {
    std::array<std::uint8_t, 8> bytes{};
    const auto wanted = std::span(bytes).first(size);
    return read_(offset, wanted) == size ? number(wanted) : 0;
  }

  void readDirectory(std::int64_t directory) {
    const std::size_t offsetSize = wide_ ? 8 : 4;
    const std::int64_t countSize = wide_ ? 8 : 2;
    const std::int64_t entrySize = wide_ ? 20 : 12;
    const auto entries =
        static_cast<std::int64_t>(numberAt(directory, static_cast<std::size_t>(countSize)));
    const std::int64_t begin = directory + countSize;
    // No more than the file has room for.
    const std::int64_t count =
        std::min(std::max<std::int64_t>(entries, 0), (size_ - std::min(begin, size_)) / entrySize);
    for (std::int64_t i = 0; i < count && tags_ <= kMostTags; ++i) {
      ++tags_;
      readTag(begin + i * entrySize);
    }
    if (entries == count) addDirectory(numberAt(begin + count * entrySize, offsetSize));
  }

  void readTag(std::int64_t at) {
    const std::size_t offsetSize = wide_ ? 8 : 4;
    std::array<std::uint8_t, 20> entry{};
    const auto head = std::span(entry).first(4 + 2 * offsetSize);
    if (read_(at, head) < head.size()) return;
    const std::uint64_t tag = number(head.first(2));
    const std::int64_t each = valueSizeOf(number(head.subspan(2, 2)));
    const std::uint64_t count = number(head.subspan(4, offsetSize));
    const std::uint64_t value = number(head.subspan(4 + offsetSize, offsetSize));
    if (each == 0) return;
    const bool isInPlace = count <= offsetSize / static_cast<std::size_t>(each);
    const bool fits =
        !isInPlace && value < static_cast<std::uint64_t>(size_) &&
        count <= (static_cast<std::uint64_t>(size_) - value) / static_cast<std::uint64_t>(each);
    // What lies outside of the file is read by nobody.
    if (fits) valueBytes_ += static_cast<std::int64_t>(count) * each;
    if (tag == kSubDirectories && fits) {
      for (std::uint64_t i = 0; i < std::min<std::uint64_t>(count, kMostDirectories); ++i) {
        const auto offset = static_cast<std::int64_t>(value + i * static_cast<std::uint64_t>(each));
        addDirectory(numberAt(offset, offsetSize));
      }
    } else if (tag == kSubDirectories || tag == kExifDirectory || tag == kPlaceDirectory ||
               tag == kInteroperabilityDirectory) {
      addDirectory(value);
    }
  }

  const ReadBytes read_;
  const std::int64_t size_;
  bool little_ = false;
  bool wide_ = false;  ///< counts and offsets have 8 bytes
  std::vector<std::int64_t> waiting_;
  std::int64_t tags_ = 0;
  std::int64_t valueBytes_ = 0;
};

}  // namespace

bool hasTooManyTags(const InputFile& file) {
  return DirectoryWalk([&file](std::int64_t offset,
                               std::span<std::uint8_t> into) { return file.readAt(offset, into); },
                       file.size())
      .findsTooMany();
}

bool hasTooManyTags(std::span<const std::uint8_t> block) {
  const auto read = [block](std::int64_t offset, std::span<std::uint8_t> into) {
    if (offset < 0 || static_cast<std::size_t>(offset) >= block.size()) return std::size_t{0};
    const auto rest = block.subspan(static_cast<std::size_t>(offset));
    const auto found = rest.first(std::min(rest.size(), into.size()));
    std::ranges::copy(found, into.begin());
    return found.size();
  };
  return DirectoryWalk(read, static_cast<std::int64_t>(block.size())).findsTooMany();
}

}  // namespace quorvin
