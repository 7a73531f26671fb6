#include "codec/standard_method_codec.h"

#include <array>
#include <string>
#include <utility>

#include "codec/message_reader.h"
#include "codec/message_writer.h"

namespace quorvin {
namespace {

constexpr std::uint8_t kSuccess = 0;
constexpr std::uint8_t kError = 1;

bool isTextOrNull(const Value& value) {
  return value.isText() || value.isNull();
}

std::optional<FlutterError> readError(MessageReader& reader) {
  Value code;
  Value message;
  Value details;
  if (!reader.readValue(code) || !reader.readValue(message) || !reader.readValue(details) ||
      !code.isText() || !isTextOrNull(message)) {
    return std::nullopt;
  }
  if (!reader.atEnd()) {
    Value stackTrace;
    if (!reader.readValue(stackTrace) || !isTextOrNull(stackTrace)) return std::nullopt;
  }
  return FlutterError::errorWithCode(std::string(code.text()), std::string(message.text()),
                                     std::move(details));
}

}  // namespace

std::vector<std::uint8_t> encodeMethodCall(const FlutterMethodCall& call) {
  const Value method(call.method);
  return writeMessage({}, {method, call.arguments});
}

std::vector<std::uint8_t> encodeSuccessEnvelope(const Value& result) {
  return writeMessage(std::array{kSuccess}, {result});
}

ByteBuffer takeSuccessEnvelope(Value result) {
  if (auto* bytes = result.as<ByteBuffer>()) {
    const auto head = writeBufferHead(std::array{kSuccess}, bytes->size());
    if (auto message = bytes->takeBehind(head)) return *std::move(message);
  }
  return writeBuffer(std::array{kSuccess}, result);
}

std::vector<std::uint8_t> encodeErrorEnvelope(const FlutterError& error) {
  const Value code(error.code);
  const Value message = error.message.empty() ? Value() : Value(error.message);
  return writeMessage(std::array{kError}, {code, message, error.details});
}

std::optional<FlutterMethodCall> decodeMethodCall(std::span<const std::uint8_t> message) {
  MessageReader reader(message);
  Value method;
  Value arguments;
  if (!reader.readValue(method) || !method.isText() || !reader.readValue(arguments) ||
      !reader.atEnd()) {
    return std::nullopt;
  }
  return FlutterMethodCall{std::string(method.text()), std::move(arguments)};
}

std::optional<std::variant<Value, FlutterError>> decodeEnvelope(
    std::span<const std::uint8_t> message) {
  MessageReader reader(message);
  std::uint8_t envelope = 0;
  if (!reader.readByte(envelope)) return std::nullopt;
  if (envelope == kSuccess) {
    Value result;
    if (!reader.readValue(result) || !reader.atEnd()) return std::nullopt;
    return result;
  }
  if (envelope != kError) return std::nullopt;
  std::optional<FlutterError> error = readError(reader);
  if (!error || !reader.atEnd()) return std::nullopt;
  return *std::move(error);
}

}  // namespace quorvin
