// The plugin's entry point.
#pragma once

#include "core/platform/host.h"

namespace quorvin {

/// What a host's plugin registry calls, once per engine, on the platform thread.
struct QuorvinPlugin {
  static void registerWithRegistrar(FlutterPluginRegistrar& registrar);
};

}  // namespace quorvin
