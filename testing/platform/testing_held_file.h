// Files that are held as the library holds its own.
#pragma once

#include <memory>
#include <string>

#include "platform_linux/files/folder.h"

namespace quorvin {

inline HeldFile heldFile(const std::string& folder, const std::string& name) {
  return {std::make_shared<const Folder>(Folder::open(folder)), name};
}

}  // namespace quorvin
