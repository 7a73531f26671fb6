#include "platform_linux/device/linux_device.h"

#include <sys/utsname.h>

#include <fstream>
#include <string_view>

#include "codec/utf8.h"

namespace quorvin {
namespace {

/// The value as a shell would take it. Versions hold nothing that a shell would expand.
std::string unquoted(std::string_view value) {
  while (value.ends_with(' ') || value.ends_with('\r')) value.remove_suffix(1);
  if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
      value.back() == value.front()) {
    value = value.substr(1, value.size() - 2);
  }
  return std::string(value);
}

/// Empty when the file does not say.
std::string versionId(const std::string& osRelease) {
  constexpr std::string_view kKey = "VERSION_ID=";
  std::ifstream file(osRelease);
  std::string version;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(kKey)) version = unquoted(std::string_view(line).substr(kKey.size()));
  }
  return isUtf8(version) ? version : "";
}

std::string kernelRelease() {
  utsname names{};
  return uname(&names) == 0 ? names.release : "";
}

std::string ownVersion(const std::string& osRelease) {
  std::string version = versionId(osRelease);
  return version.empty() ? kernelRelease() : version;
}

}  // namespace

LinuxDevice::LinuxDevice(std::optional<std::string> systemVersion, const std::string& osRelease)
    : systemVersion_(systemVersion ? *std::move(systemVersion) : ownVersion(osRelease)) {}

}  // namespace quorvin
