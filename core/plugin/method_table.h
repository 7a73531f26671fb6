// The channel's methods: their names, their handlers, and where these run.
#pragma once

#include <string_view>
#include <vector>

#include "core/manager/image_manager.h"
#include "core/platform/host.h"

namespace quorvin {

class SwiftQuorvinPlugin;

struct MethodTable {
  using Handler = void (*)(SwiftQuorvinPlugin&, const FlutterMethodCall&, const ResultHolder&);
  enum class Runs {
    inlined,  ///< on the platform thread, before `handle` returns
    queued,   ///< on the background queue
  };
  struct Method {
    std::string_view name;
    Handler handler;
    Runs runs;
  };

  /// The method of exactly this name; null when there is none. Names are compared from the table's
  /// first to its last.
  static const Method* find(std::string_view name);

  /// All of them, in the table's order.
  static std::vector<std::string_view> names();

 private:
  /// Calls a member of the plugin's manager, with the call unless it takes the reply alone. Without
  /// a manager it does nothing.
  template <auto member>
  static void manager(SwiftQuorvinPlugin& plugin, const FlutterMethodCall& call,
                      const ResultHolder& result);
  template <bool startCache>
  static void cachingImages(SwiftQuorvinPlugin& plugin, const FlutterMethodCall& call,
                            const ResultHolder& result);
  static void platformVersion(SwiftQuorvinPlugin& plugin, const FlutterMethodCall& call,
                              const ResultHolder& result);

  static const Method methods[];
};

}  // namespace quorvin
