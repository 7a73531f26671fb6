// Work of the fake platform that waits, ended in any way.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include "testing/fakes/fake_platform.h"

namespace quorvin {

/// Ends everything that waits for the platform: a request for an image after any number of
/// deliveries for a thumbnail, and of provisional ones for others; everything else by one call.
/// Returns how many export sessions ended in a status that is no end.
int endPlatformWork(FakePlatform& platform, FuzzedDataProvider& data);

}  // namespace quorvin
