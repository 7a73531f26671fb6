#include "media_worker/sandbox/file_access.h"

#include <linux/landlock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace quorvin {

namespace {

/// What a ruleset governs. The system's header may be older than the system.
struct Governed {
  std::uint64_t files;
  std::uint64_t network;
  std::uint64_t scopes;
};

struct Version {
  std::uint64_t files;
  std::uint64_t network;
  std::uint64_t scopes;
  std::size_t size;  ///< bytes of `Governed` that it knows
};

constexpr std::uint64_t lowest(int bits) {
  return (std::uint64_t{1} << bits) - 1;
}

constexpr Version kVersions[] = {
    {lowest(13), 0, 0, 8},          {lowest(14), 0, 0, 8},
    {lowest(15), 0, 0, 8},          {lowest(15), lowest(2), 0, 16},
    {lowest(16), lowest(2), 0, 16}, {lowest(16), lowest(2), lowest(2), 24},
};

}  // namespace

int forbidFileAccess() {
  const auto version = static_cast<int>(
      ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION));
  if (version < 1) return errno;
  const Version& known =
      kVersions[std::min<std::size_t>(static_cast<std::size_t>(version), std::size(kVersions)) - 1];
  const Governed governed{known.files, known.network, known.scopes};
  const auto rules =
      static_cast<int>(::syscall(SYS_landlock_create_ruleset, &governed, known.size, 0));
  if (rules < 0) return errno;
  const int error = ::syscall(SYS_landlock_restrict_self, rules, 0) == 0 ? 0 : errno;
  ::close(rules);
  return error;
}

}  // namespace quorvin
