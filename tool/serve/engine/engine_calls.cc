#include "tool/serve/engine/engine_calls.h"

#include <cstdint>
#include <span>
#include <utility>
#include <variant>

#include "codec/standard_method_codec.h"

namespace quorvin {
namespace {

FlutterReply replyIn(std::span<const std::uint8_t> message) {
  auto decoded = decodeEnvelope(message);
  if (!decoded) return FlutterMethodNotImplemented;
  if (auto* error = std::get_if<FlutterError>(&*decoded)) return std::move(*error);
  return std::get<Value>(std::move(*decoded));
}

}  // namespace

void EngineCalls::call(std::string method, Map arguments, std::function<void(FlutterReply)> then) {
  engine_.send("quorvin", encodeMethodCall({std::move(method), std::move(arguments)}),
               [answer = mailbox_.expect(std::move(then))](std::span<const std::uint8_t> message) {
                 answer(replyIn(message));
               });
}

}  // namespace quorvin
