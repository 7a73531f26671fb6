// The media libraries, set up for a program that reads what strangers wrote.
#pragma once

#include <vector>

#include "media_protocol/requests.h"

namespace quorvin {

/// Makes the libraries silent, single-threaded, without caches, and blind to formats that nobody
/// needs. Called once, before anything else of this folder and before threads start. What takes
/// time is left to its first use.
void startLibraries();

/// Reads from files what would be read at its first use, when no file can be opened any more: the
/// time zone, the number of processors, converters of the character sets that movies name, and for
/// exports the filters.
void loadForLater(bool forExports);

/// The libraries that read media, and their versions.
std::vector<NamedText> libraryVersions();

/// Gives back the memory that the last request needed, and forgets its errors. False when so much
/// is left that a new process is better.
bool tidyLibraries();

}  // namespace quorvin
