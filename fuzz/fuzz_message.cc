// Decodes any bytes as a message, a method call and a reply. What decodes must encode to bytes that
// decode to the same, wherever in memory the bytes lie.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <variant>
#include <vector>

#include "codec/standard_message_codec.h"
#include "codec/standard_method_codec.h"
#include "fuzz/require.h"
#include "fuzz/same_value.h"

namespace quorvin {
namespace {

constexpr std::size_t kLargestPadding = 7;

using Bytes = std::span<const std::uint8_t>;

void checkMessage(Bytes bytes) {
  const auto value = decodeMessage(bytes);
  if (!value) return;
  const auto encoded = encodeMessage(*value);
  // An empty list may come without its padding at the message's end.
  require(encoded.size() <= bytes.size() + kLargestPadding,
          "no encoding is longer than what it was decoded from");
  const auto again = decodeMessage(encoded);
  require(again && sameValue(*value, *again), "an encoded value decodes to itself");
  require(encodeMessage(*again) == encoded, "a value has one encoding");
}

void checkMethodCall(Bytes bytes) {
  const auto call = decodeMethodCall(bytes);
  if (!call) return;
  const auto again = decodeMethodCall(encodeMethodCall(*call));
  require(again && again->method == call->method && sameValue(again->arguments, call->arguments),
          "an encoded call decodes to itself");
}

void checkEnvelope(Bytes bytes) {
  const auto reply = decodeEnvelope(bytes);
  if (!reply) return;
  if (const auto* value = std::get_if<Value>(&*reply)) {
    const auto again = decodeEnvelope(encodeSuccessEnvelope(*value));
    require(again && std::holds_alternative<Value>(*again) &&
                sameValue(std::get<Value>(*again), *value),
            "an encoded result decodes to itself");
    return;
  }
  const auto& error = std::get<FlutterError>(*reply);
  const auto again = decodeEnvelope(encodeErrorEnvelope(error));
  require(again && std::holds_alternative<FlutterError>(*again),
          "an encoded error decodes to an error");
  const auto& other = std::get<FlutterError>(*again);
  require(other.code == error.code && other.message == error.message &&
              sameValue(other.details, error.details),
          "an encoded error decodes to itself");
}

/// The same bytes one byte further on in memory.
void checkOtherAlignment(Bytes bytes) {
  std::vector<std::uint8_t> moved(bytes.size() + 1);
  std::ranges::copy(bytes, moved.begin() + 1);
  const auto here = decodeMessage(bytes);
  const auto there = decodeMessage(Bytes(moved).subspan(1));
  require(here.has_value() == there.has_value() && (!here || sameValue(*here, *there)),
          "a message means the same wherever it lies");
}

}  // namespace
}  // namespace quorvin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const quorvin::Bytes bytes(data, size);
  quorvin::checkMessage(bytes);
  quorvin::checkMethodCall(bytes);
  quorvin::checkEnvelope(bytes);
  quorvin::checkOtherAlignment(bytes);
  return 0;
}
