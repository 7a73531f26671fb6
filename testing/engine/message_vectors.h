// Messages and what they mean, for tests: the bytes as two other programs exchange them.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "core/platform/host.h"
#include "core/platform/value.h"

namespace quorvin {

template <class Meaning>
struct MessageVector {
  std::string_view name;
  Meaning meaning;
  std::vector<std::uint8_t> message;
};

std::vector<std::uint8_t> fromHexadecimal(std::string_view digits);

/// Hold in both directions.
std::vector<MessageVector<Value>> valueVectors();
std::vector<MessageVector<FlutterMethodCall>> callVectors();
std::vector<MessageVector<Value>> successVectors();
std::vector<MessageVector<FlutterError>> errorVectors();

/// Received from others, never sent.
std::vector<MessageVector<Value>> receivedValueVectors();
std::vector<MessageVector<FlutterError>> receivedErrorVectors();

}  // namespace quorvin
