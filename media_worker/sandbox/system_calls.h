// The layer that leaves the process the few system calls that computing needs.
#pragma once

namespace quorvin {

/// From now on a call that is not on the list fails with EPERM and is noted
/// (`refusedSystemCalls`), and one that only an intruder makes ends the process. 0, or the system's
/// error number.
int allowFewSystemCalls();

}  // namespace quorvin
