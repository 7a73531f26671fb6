// What file operations answer when they fail.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/platform/foundation.h"

namespace quorvin {

/// Codes of `kFileErrorDomain`.
enum class FileErrorCode : std::int64_t {
  noSuchFile = 4,
  writeUnknown = 512,
  writeNoPermission = 513,
  writeFileExists = 516,
  writeOutOfSpace = 640,
  writeVolumeReadOnly = 642,
};

/// "ATTEMPT because REASON.", with the code and the reason that fit the error number. `attempt`
/// says what could not be done.
NSError fileError(std::string_view attempt, int errorNumber);

/// Of making or replacing the file.
NSError savingError(const std::string& path, int errorNumber);

/// The last component of the path, in quotation marks.
std::string quotedName(const std::string& path);

/// The path without its last component: "." when it has no other, "/" for one in the root.
std::string folderOf(const std::string& path);

}  // namespace quorvin
