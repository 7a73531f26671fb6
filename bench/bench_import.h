// Libraries to measure on.
#pragma once

#include <string>

namespace quorvin {

/// Imports the file into a new library, alone in an album, and gives its asset's identifier. What
/// fails ends the program: there is nothing to measure then.
std::string importAlone(const std::string& file, const std::string& library);

}  // namespace quorvin
