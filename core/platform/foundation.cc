#include "core/platform/foundation.h"

#include <cstdio>
#include <cstdlib>

namespace quorvin {

std::string NSError::description() const {
  return "Error Domain=" + domain + " Code=" + std::to_string(code) + " \"" + localizedDescription +
         "\"";
}

void fatalError(const std::string& reason) {
  std::fprintf(stderr, "Fatal error: %s\n", reason.c_str());
  std::fflush(stderr);
  std::abort();
}

}  // namespace quorvin
