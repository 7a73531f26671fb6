// Libraries to measure on.
#pragma once

#include <string>
#include <vector>

namespace quorvin {

// What fails ends the program: there is nothing to measure then.

/// Imports the file into a new library, and gives its asset's identifier.
std::string importAlone(const std::string& file, const std::string& library);

/// Imports the file, or all of the folder, into an album of a new library, and gives the assets'
/// identifiers.
std::vector<std::string> importAll(const std::string& path, const std::string& library);

/// Makes all previews of the library.
void makePreviewsOf(const std::string& library);

}  // namespace quorvin
