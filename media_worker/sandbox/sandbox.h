// The worker shuts itself in: whoever takes it over by a file has no more than the descriptors of
// one request.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quorvin {

/// A layer of the isolation; they do not depend on each other.
struct SandboxLayer {
  const char* name;       ///< as it is told to people
  std::string whyAbsent;  ///< what this system lacks; empty when the layer is active
};

/// Takes for good what the process could do beyond computing: to gain rights, to open files by
/// name, to make sockets and processes, to make memory executable, to reach other processes. Once,
/// before a byte of a file is read and before there is a second thread, and after everything has
/// been loaded from files that ever will be. A layer that the system lacks is left out.
std::vector<SandboxLayer> enterSandbox();

/// Calls to the system that were refused since, without the ones that nobody makes by mistake (they
/// end the process): by name, each once. None where that layer is absent.
std::vector<std::string> refusedSystemCalls();

}  // namespace quorvin
