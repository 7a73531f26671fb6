// quorvin authorize: the stored authorisation status.
#include <algorithm>
#include <array>
#include <string_view>

#include "platform_linux/library/upkeep/administration.h"
#include "tool/commands.h"
#include "tool/status_names.h"
#include "tool/text.h"

namespace quorvin {

std::vector<std::string> AuthorizeCommand::statuses() {
  return {kStatusNames.begin(), kStatusNames.end()};
}

int AuthorizeCommand::run() const {
  const auto found = std::ranges::find(kStatusNames, status);
  const auto stored =
      storeAuthorization(library, static_cast<PHAuthorizationStatus>(found - kStatusNames.begin()));
  if (stored) return kSuccess;
  complain(stored.error().sentence());
  return kFailure;
}

}  // namespace quorvin
