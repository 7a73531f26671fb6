// What an import would do.
#pragma once

#include <string>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/import/importer.h"

namespace quorvin {

/// Tells the observer of each file what an import would, as far as can be seen without making
/// copies; how many assets would be added is left open. Nothing is made or changed, the library
/// included: where there is none, everything would be added. An error means that the import could
/// not begin. Any thread.
Result<ImportSummary> rehearseImport(const std::string& libraryPath, MediaService& media,
                                     const ImportOptions& options, ImportObserver& observer);

}  // namespace quorvin
