// The layer that forbids files by name, and the network, whatever call asks for them.
#pragma once

namespace quorvin {

/// From now on the process may open, make, rename or remove nothing by name, nor bind or connect;
/// open descriptors stay as they are. 0, or the system's error number.
int forbidFileAccess();

}  // namespace quorvin
