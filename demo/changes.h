// The methods that change the library.
#pragma once

#include "demo/calls.h"
#include "demo/exports.h"

namespace quorvin {

/// Makes an album, saves the files into it, shows it, and deletes what was saved.
void showChanges(Calls& calls, const ExportedFiles& files);

}  // namespace quorvin
