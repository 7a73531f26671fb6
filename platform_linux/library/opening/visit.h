// Opening a library that can only be read.
#pragma once

#include <memory>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/opening/obstacle.h"

namespace quorvin {

/// Opens the catalogue that the folder holds. Nothing in the folder is made, changed or removed,
/// now or later, and every change fails because of the obstacle.
Result<std::shared_ptr<Catalogue>> visitCatalogue(LibraryFolder folder, Obstacle obstacle);

}  // namespace quorvin
