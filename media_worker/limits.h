// What one request may take of the machine.
#pragma once

namespace quorvin {

/// Bounds this process's address space: a small file can ask a decoder for gigabytes. An
/// allocation beyond the bound fails, and with it the request.
void limitMemory();

/// Gives the process so much processor time from now on; one that uses it up is ended by the
/// system.
void renewTimeLimit();

}  // namespace quorvin
