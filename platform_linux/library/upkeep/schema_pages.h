// The pages of a database that say where its tables are.
#pragma once

#include <string>

#include "platform_linux/files/folder.h"

namespace quorvin {

/// Writes the first page of `from`, and the others that hold its schema, over those of `to`, whose
/// tables lie where those of `from` do. Both are paths of files in the folder. False when that
/// cannot be done.
bool transplantSchema(const Folder& folder, const std::string& from, const std::string& to);

}  // namespace quorvin
