// The standard message and method codec. Decoding throws a `MalformedMessageError` for bytes that
// are no message, encoding an `UnencodableValueError` for a value that has no bytes.
#ifndef QUORVIN_CLIENT_CODEC_HPP_
#define QUORVIN_CLIENT_CODEC_HPP_

#include <cstdint>
#include <quorvin/client/errors.hpp>
#include <quorvin/client/message_reader.hpp>
#include <quorvin/client/message_writer.hpp>
#include <quorvin/client/value.hpp>
#include <string>
#include <utility>
#include <variant>

namespace quorvin {
namespace client {

struct MethodCall {
  std::string method;
  Value arguments;
};

struct ErrorReply {
  std::string code;
  /// Null, or a text.
  Value message;
  Value details;
};

/// A reply: the result, or an error.
using Envelope = std::variant<Value, ErrorReply>;

constexpr std::uint8_t kSuccess = 0;
constexpr std::uint8_t kError = 1;

inline Bytes encodeMessage(const Value& value) {
  MessageWriter writer;
  writer.writeValue(value);
  return writer.take();
}

inline Value decodeMessage(BytesView message) {
  MessageReader reader(message);
  Value value = reader.readValue();
  reader.expectEnd();
  return value;
}

inline Bytes encodeMethodCall(const MethodCall& call) {
  MessageWriter writer;
  writer.writeValue(call.method);
  writer.writeValue(call.arguments);
  return writer.take();
}

inline MethodCall decodeMethodCall(BytesView message) {
  MessageReader reader(message);
  const Value method = reader.readValue();
  const auto* text = method.as<std::string>();
  if (text == nullptr) reader.fail("the method is no text");
  MethodCall call{*text, reader.readValue()};
  reader.expectEnd();
  return call;
}

inline Bytes encodeEnvelope(const Envelope& envelope) {
  MessageWriter writer;
  if (const auto* error = std::get_if<ErrorReply>(&envelope)) {
    writer.writeByte(kError);
    writer.writeValue(error->code);
    writer.writeValue(error->message);
    writer.writeValue(error->details);
  } else {
    writer.writeByte(kSuccess);
    writer.writeValue(std::get<Value>(envelope));
  }
  return writer.take();
}

inline Value readTextOrNull(MessageReader& reader) {
  Value value = reader.readValue();
  if (!value.isNull() && value.as<std::string>() == nullptr) {
    reader.fail("a part of an error is no text");
  }
  return value;
}

inline ErrorReply readError(MessageReader& reader) {
  const Value code = reader.readValue();
  const auto* text = code.as<std::string>();
  if (text == nullptr) reader.fail("the code of an error is no text");
  Value message = readTextOrNull(reader);
  Value details = reader.readValue();
  // Some writers tell where the error came from.
  if (!reader.atEnd()) readTextOrNull(reader);
  return {*text, std::move(message), std::move(details)};
}

/// An empty message is no envelope: it says that nobody implements the method.
inline Envelope decodeEnvelope(BytesView message) {
  MessageReader reader(message);
  Envelope envelope;
  switch (reader.readByte()) {
    case kSuccess:
      envelope = reader.readValue();
      break;
    case kError:
      envelope = readError(reader);
      break;
    default:
      reader.fail("it is neither a success nor an error");
  }
  reader.expectEnd();
  return envelope;
}

/// What the envelope holds; throws a `QuorvinError` when it is an error.
inline Value resultIn(BytesView message) {
  Envelope envelope = decodeEnvelope(message);
  const auto* error = std::get_if<ErrorReply>(&envelope);
  if (error == nullptr) return std::get<Value>(std::move(envelope));
  const auto* text = error->message.as<std::string>();
  throw QuorvinError(error->code, text == nullptr ? "" : *text, error->details);
}

}  // namespace client
}  // namespace quorvin

#endif  // QUORVIN_CLIENT_CODEC_HPP_
