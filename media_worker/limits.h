// What one request may take of the machine.
#pragma once

#include <cstdint>

namespace quorvin {

/// Bounds this process for good: its address space, for a small file can ask a decoder for
/// gigabytes, and an allocation beyond the bound fails and with it the request, but for one whose
/// header justifies `memory`, in bytes; the size of what it
/// writes; its descriptors; no memory image when it dies, which would hold somebody's photo. When
/// the machine's memory runs out, it goes first.
void limitProcess(std::int64_t memory = 0);

/// Lets whatever else runs go first, at the processor and at the disk.
void giveWay();

/// Gives the process so much processor time from now on; one that uses it up is ended by the
/// system.
void renewTimeLimit();

}  // namespace quorvin
