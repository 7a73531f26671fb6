#include "platform_linux/library/originals/file_content.h"

#define XXH_INLINE_ALL
#include <unistd.h>
#include <xxhash.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>
#include <vector>

#include "platform_linux/errors/system_failure.h"

namespace quorvin {
namespace {

constexpr std::size_t kBlock = 262'144;  // bytes

// The bytes read; fewer than asked only at the end; -1 on failure.
ssize_t readBlock(int file, char* into, std::size_t size, std::int64_t offset) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t got =
        ::pread(file, into + done, size - done, offset + static_cast<std::int64_t>(done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return -1;
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return static_cast<ssize_t>(done);
}

}  // namespace

Result<std::string> hashContent(int file) {
  const std::unique_ptr<XXH3_state_t, decltype(&XXH3_freeState)> state(XXH3_createState(),
                                                                       XXH3_freeState);
  XXH3_128bits_reset(state.get());
  std::vector<char> block(kBlock);
  for (std::int64_t offset = 0;;) {
    const ssize_t got = readBlock(file, block.data(), block.size(), offset);
    if (got < 0) return systemFailure("the file cannot be read", errno);
    if (got == 0) break;
    XXH3_128bits_update(state.get(), block.data(), static_cast<std::size_t>(got));
    offset += got;
  }
  XXH128_canonical_t bytes;
  XXH128_canonicalFromHash(&bytes, XXH3_128bits_digest(state.get()));
  return std::string(reinterpret_cast<const char*>(bytes.digest), sizeof bytes.digest);
}

bool haveSameContent(int one, int other) {
  std::vector<char> ofOne(kBlock);
  std::vector<char> ofOther(kBlock);
  for (std::int64_t offset = 0;;) {
    const ssize_t got = readBlock(one, ofOne.data(), kBlock, offset);
    if (got < 0 || readBlock(other, ofOther.data(), kBlock, offset) != got) return false;
    if (got == 0) return true;
    if (!std::equal(ofOne.begin(), ofOne.begin() + got, ofOther.begin())) return false;
    offset += got;
  }
}

namespace {

// The length of the character at the start; 0 when there is none.
std::size_t characterLength(std::string_view text) {
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return 1;
  std::size_t length = 0;
  if (first >= 0xC2 && first <= 0xDF) length = 2;
  if ((first & 0xF0) == 0xE0) length = 3;
  if (first >= 0xF0 && first <= 0xF4) length = 4;
  if (length == 0 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  // Longer forms than needed, surrogates, and what lies beyond the last character.
  const unsigned char second = byte(1);
  const bool wrong = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                     (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
  return wrong ? 0 : length;
}

}  // namespace

std::string validUtf8(const std::string& name) {
  std::string valid;
  for (std::string_view rest = name; !rest.empty();) {
    const std::size_t length = characterLength(rest);
    valid += length == 0 ? std::string_view("\uFFFD") : rest.substr(0, length);
    rest.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return valid;
}

}  // namespace quorvin
