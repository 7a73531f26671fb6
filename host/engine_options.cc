#include "host/engine_options.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <span>
#include <system_error>
#include <utility>

#include "codec/utf8.h"
#include "host/locations.h"
#include "platform_linux/errors/failure.h"

namespace quorvin {
namespace {

constexpr std::int32_t kStoredAuthorization = -1;
constexpr std::int32_t kLastAuthorization =
    static_cast<std::int32_t>(PHAuthorizationStatus::limited);

/// A caller of a later version may have this many bytes more, if they ask for nothing.
constexpr std::size_t kGreatestStructSize = 1024;

/// Whole sentences, shown as they are: one begins with the name of a field.
Failure optionFailure(std::string_view sentence) {
  return {LibraryErrorCode::internal, sentence};
}

/// Where a caller's struct may end: behind any field that names something.
bool isStructSize(std::size_t size) {
  constexpr std::size_t kEnds[] = {
      offsetof(QuorvinOptions, temporary_path), offsetof(QuorvinOptions, system_version),
      offsetof(QuorvinOptions, authorization),  offsetof(QuorvinOptions, request_authorization),
      offsetof(QuorvinOptions, user_data),      offsetof(QuorvinOptions, confirm_deletion)};
  return std::ranges::find(kEnds, size) != std::end(kEnds) ||
         (size >= sizeof(QuorvinOptions) && size <= kGreatestStructSize);
}

/// The caller's options, with defaults for the fields that the caller's version does not have.
Result<QuorvinOptions> readStruct(const QuorvinOptions* given) {
  if (given == nullptr) return optionFailure("The options are missing (NULL).");
  const std::size_t size = given->struct_size;
  if (!isStructSize(size)) {
    return optionFailure("struct_size is " + std::to_string(size) +
                         ", not sizeof(QuorvinOptions).");
  }
  const auto* bytes = reinterpret_cast<const unsigned char*>(given);
  if (size > sizeof *given && std::any_of(bytes + sizeof *given, bytes + size,
                                          [](unsigned char byte) { return byte != 0; })) {
    return optionFailure("The options ask for something that this version does not have.");
  }
  QuorvinOptions options{};
  options.authorization = kStoredAuthorization;
  std::memcpy(&options, given, std::min(size, sizeof options));
  return options;
}

Result<std::string> absolutePath(const char* given, std::string_view what) {
  const std::string_view path = given;
  if (path.empty()) return optionFailure(std::string(what) + " is empty.");
  // Replies carry paths, and they are text.
  if (!isUtf8(path)) return optionFailure(std::string(what) + " is not UTF-8.");
  std::error_code failed;
  const auto absolute = std::filesystem::absolute(path, failed);
  if (failed)
    return optionFailure(std::string(what) + " cannot be used: " + failed.message() + ".");
  return absolute.lexically_normal().string();
}

std::function<std::optional<PHAuthorizationStatus>()> promptOf(const QuorvinOptions& options) {
  if (options.request_authorization == nullptr) return {};
  return [ask = options.request_authorization,
          data = options.user_data]() -> std::optional<PHAuthorizationStatus> {
    const std::int32_t status = ask(data);
    if (status < 0 || status > kLastAuthorization) return std::nullopt;
    return static_cast<PHAuthorizationStatus>(status);
  };
}

std::function<bool(std::size_t)> deletionPromptOf(const QuorvinOptions& options) {
  if (options.confirm_deletion == nullptr) return {};
  return [ask = options.confirm_deletion, data = options.user_data](std::size_t count) {
    return ask(count, data) != 0;
  };
}

}  // namespace

Result<LinuxPlatformOptions> readEngineOptions(const QuorvinOptions* given) {
  const auto options = readStruct(given);
  if (!options) return options.error();
  LinuxPlatformOptions read;

  auto libraryPath = options->library_path != nullptr
                         ? absolutePath(options->library_path, "The library's path")
                         : defaultLibraryPath();
  if (!libraryPath) return libraryPath.error();
  read.libraryPath = *std::move(libraryPath);

  if (options->temporary_path != nullptr) {
    auto temporaryPath = absolutePath(options->temporary_path, "The temporary path");
    if (!temporaryPath) return temporaryPath.error();
    read.temporaryPath = *std::move(temporaryPath);
  }
  if (options->system_version != nullptr) {
    if (!isUtf8(options->system_version)) return optionFailure("The system version is not UTF-8.");
    read.systemVersion = options->system_version;
  }
  if (options->authorization < kStoredAuthorization ||
      options->authorization > kLastAuthorization) {
    return optionFailure("The authorization is " + std::to_string(options->authorization) +
                         ", not -1 to 4.");
  }
  if (options->authorization != kStoredAuthorization) {
    read.authorization = static_cast<PHAuthorizationStatus>(options->authorization);
  }
  read.prompt = promptOf(*options);
  read.deletionPrompt = deletionPromptOf(*options);
  read.mediaWorker = mediaWorkerProgram();
  read.failedFilesPath = failedFilesPath();
  return read;
}

}  // namespace quorvin
