#include "demo/channel.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "codec/standard_method_codec.h"

namespace quorvin {
namespace {

/// A video is encoded again in about the time that it plays.
constexpr std::chrono::minutes kPatience{30};

struct Answer {
  bool came = false;
  std::vector<std::uint8_t> message;

  static void record(const std::uint8_t* message, std::size_t size, void* answer) {
    auto& self = *static_cast<Answer*>(answer);
    self.came = true;
    self.message.assign(message, message + size);
  }
};

[[noreturn]] void giveUp(const char* reason) {
  std::fflush(stdout);
  std::fprintf(stderr, "quorvin-demo: %s\n", reason);
  std::exit(EXIT_FAILURE);
}

FlutterReply decoded(const std::vector<std::uint8_t>& message) {
  if (message.empty()) return FlutterMethodNotImplemented;
  auto reply = decodeEnvelope(message);
  if (!reply) {
    return FlutterError::errorWithCode("Malformed", "the reply is no message of the codec", {});
  }
  if (auto* error = std::get_if<FlutterError>(&*reply)) return std::move(*error);
  return std::get<Value>(std::move(*reply));
}

}  // namespace

Channel::Channel(const std::string& library, const std::string& temporary) {
  QuorvinOptions options{};
  options.struct_size = sizeof options;
  options.library_path = library.c_str();
  options.temporary_path = temporary.c_str();
  options.authorization = -1;
  char* error = nullptr;
  engine_.reset(quorvin_engine_create(&options, &error));
  if (engine_ != nullptr) return;
  giveUp(error == nullptr ? "out of memory" : error);
}

FlutterReply Channel::call(const std::string& method, const Value& arguments) {
  return send("quorvin", method, arguments);
}

bool Channel::listen() {
  const auto record = [](const char*, const std::uint8_t* message, std::size_t size, void* events) {
    auto event = decodeEnvelope({message, size});
    if (!event || !std::holds_alternative<Value>(*event)) giveUp("what came is no event");
    static_cast<std::deque<Value>*>(events)->push_back(std::get<Value>(*std::move(event)));
  };
  quorvin_engine_receive(engine_.get(), record, &events_);
  return send("quorvin/changes", "listen", {}) == FlutterReply(Value());
}

Value Channel::nextEvent() {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (events_.empty()) {
    quorvin_engine_run(engine_.get(), 1000);
    if (events_.empty() && std::chrono::steady_clock::now() > deadline) giveUp("no event came");
  }
  Value event = std::move(events_.front());
  events_.pop_front();
  return event;
}

FlutterReply Channel::send(const char* channel, const std::string& method, const Value& arguments) {
  const auto message = encodeMethodCall({method, arguments});
  Answer answer;
  quorvin_engine_send(engine_.get(), channel, message.data(), message.size(), Answer::record,
                      &answer);
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!answer.came) {
    quorvin_engine_run(engine_.get(), 1000);
    if (!answer.came && std::chrono::steady_clock::now() > deadline) giveUp("no reply came");
  }
  return decoded(answer.message);
}

}  // namespace quorvin
