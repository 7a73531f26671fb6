// The media libraries, set up for a program that reads what strangers wrote.
#pragma once

namespace quorvin {

/// Makes the libraries silent, single-threaded, without caches, and blind to formats that nobody
/// needs. Called once, before anything else of this folder and before threads start. What takes
/// time is left to its first use.
void startLibraries();

/// Gives back the memory that the last request needed, and forgets its errors.
void tidyLibraries();

}  // namespace quorvin
