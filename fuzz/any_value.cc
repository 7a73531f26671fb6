#include "fuzz/any_value.h"

#include <array>
#include <cstdint>
#include <iterator>
#include <limits>
#include <vector>

namespace quorvin {
namespace {

/// The channel lets no text in that it would not let out again.
std::string anyText(FuzzedDataProvider& data) {
  std::string text = data.ConsumeRandomLengthString(12);
  for (char& c : text) c = static_cast<char>(c & 0x7F);
  return text;
}

double anyDouble(FuzzedDataProvider& data) {
  constexpr double kOdd[] = {0.0,
                             -0.0,
                             1.0,
                             -1.0,
                             256.0,
                             1e300,
                             std::numeric_limits<double>::infinity(),
                             std::numeric_limits<double>::quiet_NaN()};
  return data.ConsumeBool() ? data.PickValueInArray(kOdd) : data.ConsumeFloatingPoint<double>();
}

std::int64_t anyInteger(FuzzedDataProvider& data) {
  switch (data.ConsumeIntegralInRange(0, 3)) {
    case 0:
      return data.ConsumeIntegralInRange<std::int64_t>(-2, 5);
    case 1:
      return data.ConsumeIntegralInRange<std::int64_t>(-40, 40);
    case 2:
      return data.ConsumeBool() ? std::numeric_limits<std::int64_t>::min()
                                : std::numeric_limits<std::int64_t>::max();
    default:
      return data.ConsumeIntegral<std::int64_t>();
  }
}

template <class Number>
std::vector<Number> anyNumbers(FuzzedDataProvider& data) {
  std::vector<Number> numbers(data.ConsumeIntegralInRange<std::size_t>(0, 3));
  for (Number& number : numbers) number = static_cast<Number>(data.ConsumeIntegral<std::int16_t>());
  return numbers;
}

Value anyFlatValue(FuzzedDataProvider& data) {
  switch (data.ConsumeIntegralInRange(0, 10)) {
    case 0:
      return {};
    case 1:
      return data.ConsumeBool();
    case 2:
      return anyInteger(data);
    case 3:
      return anyDouble(data);
    case 4:
      return anyText(data);
    case 5:
      return LargeInteger{"ffffffffffffffffff"};
    case 6:
      return ByteBuffer(data.ConsumeBytes<std::uint8_t>(data.ConsumeIntegralInRange(0, 8)));
    case 7:
      return anyNumbers<std::int32_t>(data);
    case 8:
      return anyNumbers<std::int64_t>(data);
    case 9:
      return anyNumbers<float>(data);
    default:
      return anyNumbers<double>(data);
  }
}

Value likelyValueOf(std::string_view key, FuzzedDataProvider& data,
                    const std::vector<std::string>& identifiers) {
  if (key == "assetIds") {
    List list;
    for (int i = data.ConsumeIntegralInRange(0, 3); i > 0; --i) {
      list.push_back(likelyValueOf("assetId", data, identifiers));
    }
    return list;
  }
  if (key == "filePath" || key == "title") return anyText(data);
  if (key.ends_with("Id")) {
    const auto index = data.ConsumeIntegralInRange<std::size_t>(0, identifiers.size());
    return index < identifiers.size() ? Value(identifiers[index]) : Value(anyText(data));
  }
  if (key == "width" || key == "height") return anyDouble(data);
  if (key == "sort" || key == "videoFormat" || key == "mediaType" || key == "contentMode" ||
      key == "start" || key == "end") {
    return anyInteger(data);
  }
  return data.ConsumeBool();
}

constexpr const char* kKeys[] = {
    "collectionId",     "assetId",       "start",          "end",         "sort",
    "mediaType",        "width",         "height",         "contentMode", "jpegFormat",
    "filterEmptyAsset", "withAllPhotos", "withSmartAlbum", "convertJpeg", "mediumQuality",
    "videoFormat",      "assetIds",      "filePath",       "title"};

}  // namespace

Value anyValue(FuzzedDataProvider& data, int depth) {
  if (depth == 0 || data.ConsumeIntegralInRange(0, 3) != 0) return anyFlatValue(data);
  const int size = data.ConsumeIntegralInRange(0, 3);
  if (data.ConsumeBool()) {
    List list;
    for (int i = 0; i < size; ++i) list.push_back(anyValue(data, depth - 1));
    return list;
  }
  Map map;
  for (int i = 0; i < size; ++i) {
    Value key = anyValue(data, depth - 1);
    map.emplace_back(std::move(key), anyValue(data, depth - 1));
  }
  return map;
}

Value anyArguments(FuzzedDataProvider& data, const std::vector<std::string>& identifiers) {
  if (data.ConsumeIntegralInRange(0, 15) == 0) return anyValue(data, 3);
  Map arguments;
  for (const char* key : kKeys) {
    switch (data.ConsumeIntegralInRange(0, 31)) {
      case 0:
        break;
      case 1:
        arguments.emplace_back(key, anyValue(data, 2));
        break;
      default:
        arguments.emplace_back(key, likelyValueOf(key, data, identifiers));
    }
  }
  if (data.ConsumeIntegralInRange(0, 31) == 0) {
    arguments.emplace_back(anyFlatValue(data), anyFlatValue(data));
  }
  return arguments;
}

}  // namespace quorvin
