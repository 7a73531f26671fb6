#include "platform_linux/files/file_content.h"

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

constexpr std::size_t kBytesAtOnce = 262'144;  // bytes

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

Result<std::string> hashContent(int file, const std::function<void(std::int64_t)>& hashed) {
  const std::unique_ptr<XXH3_state_t, decltype(&XXH3_freeState)> state(XXH3_createState(),
                                                                       XXH3_freeState);
  XXH3_128bits_reset(state.get());
  std::vector<char> block(kBytesAtOnce);
  for (std::int64_t offset = 0;;) {
    const ssize_t got = readBlock(file, block.data(), block.size(), offset);
    if (got < 0) return systemFailure("the file cannot be read", errno);
    if (got == 0) break;
    XXH3_128bits_update(state.get(), block.data(), static_cast<std::size_t>(got));
    offset += got;
    if (hashed) hashed(got);
  }
  XXH128_canonical_t bytes;
  XXH128_canonicalFromHash(&bytes, XXH3_128bits_digest(state.get()));
  return std::string(reinterpret_cast<const char*>(bytes.digest), sizeof bytes.digest);
}

bool haveSameContent(int one, int other) {
  std::vector<char> ofOne(kBytesAtOnce);
  std::vector<char> ofOther(kBytesAtOnce);
  for (std::int64_t offset = 0;;) {
    const ssize_t got = readBlock(one, ofOne.data(), kBytesAtOnce, offset);
    if (got < 0 || readBlock(other, ofOther.data(), kBytesAtOnce, offset) != got) return false;
    if (got == 0) return true;
    if (!std::equal(ofOne.begin(), ofOne.begin() + got, ofOther.begin())) return false;
    offset += got;
  }
}

}  // namespace quorvin
