#include "testing/plugin/plugin_fixture.h"

#include <algorithm>
#include <type_traits>
#include <utility>
#include <variant>

namespace quorvin {
namespace {

using Takes = RequiredArgument::Takes;

const std::vector<Value>& oneOfEachKind() {
  static const std::vector<Value> values = {Value(),
                                            Value(true),
                                            Value(false),
                                            Value(1),
                                            Value(1.0),
                                            Value("1"),
                                            Value("1"_lit),
                                            Value(LargeInteger{"1"}),
                                            Value(ByteBuffer({1})),
                                            Value(std::vector<std::int32_t>{1}),
                                            Value(std::vector<std::int64_t>{1}),
                                            Value(std::vector<float>{1}),
                                            Value(std::vector<double>{1}),
                                            Value(List{}),
                                            Value(List{Value(1)}),
                                            Value(List{Value("1"), Value("2"_lit)}),
                                            Value(List{Value("1"), Value(1)}),
                                            Value(List{Value("1"), Value()}),
                                            Value(Map{{Value("1"), Value(1)}})};
  return values;
}

bool isTaken(Takes takes, const Value& value) {
  const bool isInteger = value.as<std::int64_t>() != nullptr;
  switch (takes) {
    case Takes::text:
      return value.isText();
    case Takes::texts: {
      const auto* list = value.as<List>();
      return list != nullptr && std::ranges::all_of(*list, &Value::isText);
    }
    case Takes::integer:
      return isInteger;
    case Takes::number:
      return isInteger || value.as<double>() != nullptr;
    case Takes::boolean:
      return value.as<bool>() != nullptr;
  }
  return false;
}

void printBytes(const ByteBuffer& bytes, std::ostream& out) {
  out << "bytes(";
  for (const std::uint8_t byte : bytes.bytes()) out << " " << static_cast<int>(byte);
  out << " )";
}

}  // namespace

void PluginTest::letGoOfThePlugin() {
  const std::weak_ptr<ImageManager> manager = SwiftQuorvinPluginPeer::manager(plugin.plugin());
  plugin.registrar.registrations.clear();
  EXPECT_FALSE(manager.expired());
}

void PrintTo(const Value& value, std::ostream* out) {
  value.visit([out](const auto& held) {
    using T = std::decay_t<decltype(held)>;
    if constexpr (std::is_same_v<T, Null>) {
      *out << "null";
    } else if constexpr (std::is_same_v<T, bool>) {
      *out << (held ? "true" : "false");
    } else if constexpr (std::is_same_v<T, std::string_view>) {
      *out << '"' << held << '"';
    } else if constexpr (std::is_same_v<T, LargeInteger>) {
      *out << "0x" << held.hexadecimal;
    } else if constexpr (std::is_same_v<T, ByteBuffer>) {
      printBytes(held, *out);
    } else if constexpr (std::is_same_v<T, Map>) {
      *out << "{";
      for (const auto& [key, entry] : held) {
        PrintTo(key, out);
        *out << ": ";
        PrintTo(entry, out);
        *out << ", ";
      }
      *out << "}";
    } else if constexpr (std::is_arithmetic_v<T>) {
      *out << held << (std::is_floating_point_v<T> ? " (double)" : "");
    } else {
      *out << "[";
      for (const auto& element : held) {
        PrintTo(Value(element), out);
        *out << ", ";
      }
      *out << "]";
    }
  });
}

void PrintTo(const FlutterError& error, std::ostream* out) {
  *out << error.code << ": " << error.message << " ";
  PrintTo(error.details, out);
}

OnMisuse failTheTest() {
  return [](const std::string& what) { ADD_FAILURE() << what; };
}

PluginTest::PluginTest() : plugin(failTheTest()) {}
PluginTest::~PluginTest() = default;

Map with(Map map, const std::string& key, Value value) {
  map = without(std::move(map), key);
  map.emplace_back(key, std::move(value));
  return map;
}

Map without(Map map, const std::string& key) {
  std::erase_if(map, [&key](const auto& entry) { return entry.first.text() == key; });
  return map;
}

void expectRefused(PluginHarness& plugin, const std::string& method, const Value& arguments,
                   const std::string& message) {
  SCOPED_TRACE(method + " " + testing::PrintToString(arguments));
  plugin.log.clear();
  const RecordedReply reply = plugin.answer(method, arguments);
  EXPECT_EQ(reply.error(), (FlutterError{"Error", message, Value()}));
  // Nothing but the work itself and its reply.
  auto events = plugin.log.events();
  std::erase_if(events, [](const std::string& event) { return event == "background.async"; });
  EXPECT_EQ(events, (std::vector<std::string>{"main.async", "reply " + method}));
}

void expectArgumentFaults(PluginHarness& plugin, const std::string& method, const Map& valid,
                          const std::vector<RequiredArgument>& required,
                          const std::string& message) {
  // A method that takes nothing at all would pass everything below.
  {
    const RecordedReply reply = plugin.answer(method, valid);
    const FlutterReply answer = reply.answer().reply;
    const auto* error = std::get_if<FlutterError>(&answer);
    EXPECT_FALSE(error != nullptr && error->message == message) << "these arguments are valid";
  }
  for (const Value& other : oneOfEachKind()) {
    if (other.as<Map>() == nullptr) expectRefused(plugin, method, other, message);
    if (other.isText()) continue;
    Map oddKey = valid;
    oddKey.emplace_back(other, Value(1));
    expectRefused(plugin, method, oddKey, message);
  }
  expectRefused(plugin, method, Map{}, message);
  for (const RequiredArgument& argument : required) {
    expectRefused(plugin, method, without(valid, argument.key), message);
    for (const Value& value : oneOfEachKind()) {
      if (isTaken(argument.takes, value)) continue;
      expectRefused(plugin, method, with(valid, argument.key, value), message);
    }
  }
}

std::shared_ptr<std::vector<WatchedEvent>> watchLock(PluginHarness& plugin) {
  auto watched = std::make_shared<std::vector<WatchedEvent>>();
  const auto note = [watched, manager = plugin.manager()](std::string event) {
    watched->push_back({std::move(event), manager.lockIsHeld(), std::this_thread::get_id()});
  };
  plugin.library.duringFetch = [note, &log = plugin.log] {
    const std::string event = log.events().back();
    note(event.substr(0, event.find(' ')));
  };
  plugin.library.duringLoad = [note](std::size_t count) { note("load " + std::to_string(count)); };
  return watched;
}

std::shared_ptr<std::vector<bool>> watchReplacement(PluginHarness& plugin,
                                                    const std::string& identifier) {
  auto held = std::make_shared<std::vector<bool>>();
  const std::weak_ptr<ImageManager> manager = SwiftQuorvinPluginPeer::manager(plugin.plugin());
  // The cache alone holds it, and lets go of it when something else takes its place.
  plugin.manager().cache({new PHAsset(photo(identifier)), [held, manager](const PHAsset* asset) {
                            delete asset;
                            if (const auto alive = manager.lock()) {
                              held->push_back(ImageManagerPeer(alive).lockIsHeld());
                            }
                          }});
  return held;
}

}  // namespace quorvin
