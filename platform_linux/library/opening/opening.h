// Opening a library: what has to be done before its catalogue can be used.
#pragma once

#include <memory>
#include <string>

#include "core/platform/photo_library.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/catalogue.h"

namespace quorvin {

enum class MissingLibrary { make, refuse };

/// Opens the library at the path; makes, finishes, brings up to date and tidies it where that is
/// due. A library that this call makes has the status `statusWhenMade`. One that cannot be written
/// to is opened for reading, and `folder().refusal` says why every change of it fails.
Result<std::shared_ptr<Catalogue>> openCatalogue(
    const std::string& path, MissingLibrary missing,
    PHAuthorizationStatus statusWhenMade = PHAuthorizationStatus::notDetermined);

}  // namespace quorvin
