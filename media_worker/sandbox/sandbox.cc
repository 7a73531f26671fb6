#include "media_worker/sandbox/sandbox.h"

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "media_worker/sandbox/file_access.h"
#include "media_worker/sandbox/system_calls.h"

namespace quorvin {

namespace {

// Sanitizers open files to tell what they found.
#ifdef QUORVIN_SANITIZED
constexpr bool kIsSanitized = true;
#else
constexpr bool kIsSanitized = false;
#endif

std::string absence(int error) {
  return error == 0 ? std::string() : std::generic_category().message(error);
}

int giveUpNewRights() {
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 ? 0 : errno;
}

// A host that runs as root gives its workers everything that root may do.
int giveUpCapabilities() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
  return ::syscall(SYS_capset, &header, none) == 0 ? 0 : errno;
}

}  // namespace

std::vector<SandboxLayer> enterSandbox() {
  std::vector<SandboxLayer> layers;
  if (kIsSanitized) return layers;
  layers.push_back({"no new privileges", absence(giveUpNewRights())});
  layers.push_back({"no capabilities", absence(giveUpCapabilities())});
  layers.push_back({"no files by name (Landlock)", absence(forbidFileAccess())});
  // Last, for it forbids what the others need.
  layers.push_back({"few system calls (seccomp)", absence(allowFewSystemCalls())});
  return layers;
}

}  // namespace quorvin
