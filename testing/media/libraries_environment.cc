// The media libraries, started before the tests of a program as the worker starts them.
#include <gtest/gtest.h>

#include "media_worker/libraries.h"

// The encoder that makes the tests' HEIC files keeps some of its memory for good.
extern "C" __attribute__((visibility("default"))) const char*
__lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier): the sanitizer's name
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libx265";
}  // NOLINT

namespace quorvin {

namespace {

struct Libraries : testing::Environment {
  void SetUp() override { startLibraries(); }
};
[[maybe_unused]] const auto* const kLibraries = testing::AddGlobalTestEnvironment(new Libraries);

}  // namespace

}  // namespace quorvin
