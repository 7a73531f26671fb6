#include "codec/standard_message_codec.h"

#include "codec/message_reader.h"
#include "codec/message_writer.h"

namespace quorvin {

std::vector<std::uint8_t> encodeMessage(const Value& value) {
  return writeMessage({}, {value});
}

std::optional<Value> decodeMessage(std::span<const std::uint8_t> message) {
  MessageReader reader(message);
  std::optional<Value> value(std::in_place);
  if (!reader.readValue(*value) || !reader.atEnd()) return std::nullopt;
  return value;
}

}  // namespace quorvin
