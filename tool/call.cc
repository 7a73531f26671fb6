// quorvin call: one method call, and its reply as JSON.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <memory>
#include <span>
#include <system_error>
#include <variant>

#include "codec/standard_method_codec.h"
#include "host/engine.h"
#include "host/engine_options.h"
#include "tool/commands.h"
#include "tool/json.h"
#include "tool/text.h"
#include "tool/write_file.h"

namespace quorvin {
namespace {

using Clock = std::chrono::steady_clock;

/// How often a call that may have been left unanswered is looked at.
constexpr std::chrono::milliseconds kGlance{100};

struct Answer {
  bool came = false;
  std::vector<std::uint8_t> message;
};

Result<std::unique_ptr<Engine>> openEngine(const std::string& library) {
  QuorvinOptions options{};
  options.struct_size = sizeof options;
  options.library_path = library.c_str();
  options.authorization = -1;
  auto read = readEngineOptions(&options);
  if (!read) return read.error();
  return Engine::create(*std::move(read));
}

/// Runs the engine until the answer came, none can come any more, or the time is over.
void await(Engine& engine, const Answer& answer, double timeout) {
  const auto limit = std::chrono::duration<double>(std::min(timeout, 1e9));
  const auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(limit);
  while (!answer.came) {
    const auto left = deadline - Clock::now();
    if (left < Clock::duration::zero() || !engine.mayAnswer()) return;
    const auto slice =
        std::chrono::ceil<std::chrono::milliseconds>(std::min<Clock::duration>(left, kGlance));
    engine.run(static_cast<int>(slice.count()));
  }
}

const ByteBuffer* firstBytes(const Value& value) {
  if (const auto* bytes = value.as<ByteBuffer>()) return bytes;
  const ByteBuffer* found = nullptr;
  if (const auto* list = value.as<List>()) {
    for (const Value& element : *list) {
      if (found == nullptr) found = firstBytes(element);
    }
  } else if (const auto* map = value.as<Map>()) {
    for (const auto& [key, element] : *map) {
      if (found == nullptr) found = firstBytes(element);
    }
  }
  return found;
}

void print(const nlohmann::ordered_json& line) {
  std::puts(textOf(line).c_str());
}

int printResult(const Value& result, const std::optional<std::string>& out) {
  print({{"result", jsonFromValue(result)}});
  if (!out) return kSuccess;
  const ByteBuffer* bytes = firstBytes(result);
  if (bytes == nullptr) {
    complain("the reply holds no bytes for " + *out);
    return kFailure;
  }
  const int error = writeFile(*out, {bytes->data(), bytes->size()});
  if (error == 0) return kSuccess;
  complain("the reply's bytes could not be written to " + *out + ": " +
           std::generic_category().message(error));
  return kFailure;
}

int printError(const FlutterError& error) {
  print({{"error",
          {{"code", error.code},
           {"message", error.message},
           {"details", jsonFromValue(error.details)}}}});
  return kFailure;
}

int printReply(const Answer& answer, const std::optional<std::string>& out) {
  if (answer.message.empty()) {
    print({{"notImplemented", true}});
    return kFailure;
  }
  const auto reply = decodeEnvelope(answer.message);
  if (!reply) {
    complain("the reply is malformed");
    return kFailure;
  }
  if (const auto* error = std::get_if<FlutterError>(&*reply)) return printError(*error);
  return printResult(std::get<Value>(*reply), out);
}

std::optional<Value> readArguments(const std::optional<std::string>& given) {
  if (!given) return Value();
  const std::string text =
      *given == "-" ? std::string(std::istreambuf_iterator<char>(std::cin), {}) : *given;
  std::string error;
  auto value = valueFromJson(text, error);
  if (!value) complain("the arguments cannot be read: " + error);
  return value;
}

}  // namespace

int CallCommand::run() const {
  auto value = readArguments(arguments);
  if (!value) return kUsage;
  const auto engine = openEngine(library);
  if (!engine) {
    complain(engine.error().sentence());
    return kFailure;
  }
  Answer answer;
  (*engine)->send("quorvin", encodeMethodCall({method, *std::move(value)}),
                  [&answer](std::span<const std::uint8_t> message) {
                    answer.came = true;
                    answer.message.assign(message.begin(), message.end());
                  });
  await(**engine, answer, timeout);
  const bool came = answer.came;
  (*engine)->shutDown();  // answers a call that is unanswered
  if (came) return printReply(answer, out);
  print({{"noReply", true}});
  return kFailure;
}

}  // namespace quorvin
