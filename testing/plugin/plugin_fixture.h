// What the plugin's tests share: the fixture, and checks that hold for every method.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "testing/fakes/plugin_harness.h"
#include "testing/fakes/samples.h"

namespace quorvin {

void PrintTo(const Value& value, std::ostream* out);
void PrintTo(const FlutterError& error, std::ostream* out);

/// A misuse of the fakes fails the test.
OnMisuse failTheTest();

class PluginTest : public testing::Test {
 protected:
  PluginTest();
  ~PluginTest() override;

  /// The host lets go of the plugin; the manager stays while what is under way needs it.
  void letGoOfThePlugin();

  PluginHarness plugin;
  FakePhotoLibrary& library = plugin.library;
  EventLog& log = plugin.log;
};

/// An argument that a method requires, and what it takes.
struct RequiredArgument {
  enum class Takes { text, texts, integer, number, boolean };
  std::string key;
  Takes takes;
};

/// `valid` without a fault. Every missing key, every value of another type and every kind of
/// arguments that is no map with text keys is answered with `message`, without details, and
/// before anything is asked of the platform.
void expectArgumentFaults(PluginHarness& plugin, const std::string& method, const Map& valid,
                          const std::vector<RequiredArgument>& required,
                          const std::string& message);

/// One set of arguments that is refused so.
void expectRefused(PluginHarness& plugin, const std::string& method, const Value& arguments,
                   const std::string& message);

/// From now on every fetch and every load of a result's objects is noted, with whether the
/// manager's lock was held inside it.
struct WatchedEvent {
  std::string event;  ///< the fetch's name, or "load N"
  bool lockIsHeld = false;
  std::thread::id thread;
};
std::shared_ptr<std::vector<WatchedEvent>> watchLock(PluginHarness& plugin);

/// Caches an asset under the identifier. True is noted when it is replaced with the manager's lock
/// held, and false when without.
std::shared_ptr<std::vector<bool>> watchReplacement(PluginHarness& plugin,
                                                    const std::string& identifier);

/// `map` with the key's value replaced, or without the key.
Map with(Map map, const std::string& key, Value value);
Map without(Map map, const std::string& key);

}  // namespace quorvin
