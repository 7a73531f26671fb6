// What the process may ask of the system once it has shut itself in, as a program for the kernel.
#pragma once

#include <seccomp.h>

#include <cstdint>
#include <initializer_list>
#include <memory>

namespace quorvin {

/// The rules for the calling process, as far as every one before could be added.
class SystemCallRules {
 public:
  /// With the call numbers of one architecture, `SCMP_ARCH_NATIVE` or another. Calls of any other
  /// end the process.
  explicit SystemCallRules(std::uint32_t architecture);

  void add(std::uint32_t action, int call, std::initializer_list<scmp_arg_cmp> when = {});
  void allow(std::initializer_list<int> calls);
  void endProcessAt(std::initializer_list<int> calls);

  /// From now on they hold for this process. 0, or the system's error number.
  int load();
  /// Writes the kernel's program, one `sock_filter` after another. 0, or an error number.
  int writeTo(int descriptor) const;

 private:
  void takeArchitecture(std::uint32_t architecture);
  void note(int result);

  std::unique_ptr<void, void (*)(scmp_filter_ctx)> filter_;
  int error_ = 0;
};

}  // namespace quorvin
