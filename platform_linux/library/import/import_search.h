// What an import, or a rehearsal of one, is to bring in.
#pragma once

#include <functional>
#include <vector>

#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/import/file_walk.h"
#include "platform_linux/library/import/importer.h"

namespace quorvin {

/// Finds the files, tells the observer and counts what is passed over and what cannot be read.
/// `prepare` gets what was found before it is told how many there are.
std::vector<FoundFile> searchFor(const ImportOptions& options, const LibraryFolder& library,
                                 ImportObserver& observer, ImportSummary& summary,
                                 const std::function<void(std::vector<FoundFile>&)>& prepare);

}  // namespace quorvin
