#include "core/plugin/quorvin_plugin.h"

#include "core/plugin/swift_quorvin_plugin.h"

namespace quorvin {

void QuorvinPlugin::registerWithRegistrar(FlutterPluginRegistrar& registrar) {
  SwiftQuorvinPlugin::registerWith(registrar);
}

}  // namespace quorvin
