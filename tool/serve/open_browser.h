// The user's browser.
#pragma once

#include <string>

namespace quorvin {

/// Starts it with the address, by the desktop's own program for that. False when there is none.
bool openBrowser(const std::string& address);

}  // namespace quorvin
