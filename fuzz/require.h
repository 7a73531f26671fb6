// A claim that holds for every input.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace quorvin {

inline void require(bool claim, const char* what) {
  if (claim) return;
  std::fprintf(stderr, "Claim broken: %s\n", what);
  std::abort();
}

}  // namespace quorvin
