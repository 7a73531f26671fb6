// Whose a catalogue is.
#pragma once

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/schema.h"

namespace quorvin {

/// The state of the folder's catalogue, before anything is made beside it. An error unless it is
/// one of ours, of a known version, that can be read.
Result<CatalogueState> ownState(const LibraryFolder& folder, const ReadAccess& access);

}  // namespace quorvin
