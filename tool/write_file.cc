#include "tool/write_file.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace quorvin {
namespace {

int writeTo(const std::string& path, const char* mode, std::span<const std::uint8_t> bytes) {
  std::FILE* file = std::fopen(path.c_str(), mode);
  if (file == nullptr) return errno;
  errno = 0;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  const int failed = written ? 0 : errno;
  return std::fclose(file) == 0 ? failed : errno;
}

}  // namespace

int writeFile(const std::string& path, std::span<const std::uint8_t> bytes) {
  std::error_code failed;
  const auto there = std::filesystem::status(path, failed);
  if (std::filesystem::is_directory(there)) return EISDIR;
  if (std::filesystem::exists(there) && !std::filesystem::is_regular_file(there)) {
    return writeTo(path, "wb", bytes);
  }
  // A link stays one: what it leads to is replaced.
  const auto target = std::filesystem::weakly_canonical(path, failed);
  if (failed) return failed.value();
  const std::string side = target.string() + ".part-" + std::to_string(getpid());
  const int error = writeTo(side, "wbx", bytes);
  if (error == EEXIST) return error;
  if (error == 0) std::filesystem::rename(side, target, failed);
  if (error == 0 && !failed) return 0;
  const int reason = error != 0 ? error : failed.value();
  std::filesystem::remove(side, failed);
  return reason;
}

}  // namespace quorvin
