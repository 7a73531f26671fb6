// The device: this machine.
#pragma once

#include <optional>
#include <string>

#include "core/platform/platform.h"

namespace quorvin {

/// Its system version is read once. Any thread.
class LinuxDevice final : public UIDevice {
 public:
  /// `systemVersion` stands in place of the system's own: VERSION_ID of the file `osRelease`, or
  /// the kernel's release where that has none (rolling distributions).
  explicit LinuxDevice(std::optional<std::string> systemVersion,
                       const std::string& osRelease = "/etc/os-release");

  std::string systemVersion() override { return systemVersion_; }

 private:
  const std::string systemVersion_;
};

}  // namespace quorvin
