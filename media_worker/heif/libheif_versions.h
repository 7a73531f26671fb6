// What differs between the versions of libheif: 1.15 (Debian 12) and later ones (Debian 13).
#pragma once

#include <libheif/heif.h>
#include <libheif/heif_plugin.h>

#if LIBHEIF_NUMERIC_VERSION >= 0x01100000
#include <libheif/heif_properties.h>
#endif

#include <array>
#include <cstddef>
#include <cstdint>

#include "media_worker/reading/boxes.h"

namespace quorvin {

// Sets what a decoder of single pictures does:
//   int supports(heif_compression_format format)
//   heif_error make(void** decoder)
//   heif_error push(void* decoder, const void* data, std::size_t size)
//   heif_error decode(void* decoder, heif_image** image)
//
// From 1.21 on libheif takes no decoder that knows single pictures alone: it asks for a next one,
// until it gets none.
#if defined(heif_decoder_plugin_latest_version) && heif_decoder_plugin_latest_version >= 5
template <auto kSupports, auto kMake, auto kPush, auto kDecode>
void setDecoderCalls(heif_decoder_plugin& plugin) {
  plugin.plugin_api_version = 5;
  plugin.does_support_format = kSupports;
  plugin.does_support_format2 =
      [](const heif_decoder_plugin_compressed_format_description* description) {
        return kSupports(description->format);
      };
  plugin.new_decoder = kMake;
  plugin.new_decoder2 = [](void** decoder, const heif_decoder_plugin_options*) {
    return kMake(decoder);
  };
  plugin.push_data = kPush;
  plugin.push_data2 = [](void* decoder, const void* data, std::size_t size, std::uintptr_t) {
    return kPush(decoder, data, size);
  };
  plugin.flush_data = [](void*) {
    return heif_error{heif_error_Ok, heif_suberror_Unspecified, ""};
  };
  plugin.decode_image = kDecode;
  plugin.decode_next_image = [](void* decoder, heif_image** image, const heif_security_limits*) {
    return kDecode(decoder, image);
  };
  plugin.decode_next_image2 = [](void* decoder, heif_image** image, std::uintptr_t* userData,
                                 const heif_security_limits*) {
    if (userData != nullptr) *userData = 0;
    return kDecode(decoder, image);
  };
}
#else
template <auto kSupports, auto kMake, auto kPush, auto kDecode>
void setDecoderCalls(heif_decoder_plugin& plugin) {
  plugin.plugin_api_version = 3;
  plugin.does_support_format = kSupports;
  plugin.new_decoder = kMake;
  plugin.push_data = kPush;
  plugin.decode_image = kDecode;
}
#endif

// How the picture is turned to be upright.
#if LIBHEIF_NUMERIC_VERSION >= 0x01100000
inline Turn turnOfPicture(const heif_context* context, const heif_image_handle* picture,
                          const InputFile&) {
  const heif_item_id item = heif_image_handle_get_item_id(picture);
  std::array<heif_property_id, 16> properties{};
  const int count = heif_item_get_transformation_properties(context, item, properties.data(),
                                                            static_cast<int>(properties.size()));
  Turn turn;
  for (int i = 0; i < count; ++i) {
    const heif_property_id property = properties.at(static_cast<std::size_t>(i));
    const auto type = heif_item_get_property_type(context, item, property);
    if (type == heif_item_property_type_transform_rotation) {
      const int degrees = heif_item_get_property_transform_rotation_ccw(context, item, property);
      turn = combined(turn, quarterTurns(static_cast<std::uint64_t>(degrees / 90)));
    } else if (type == heif_item_property_type_transform_mirror) {
      const auto axis = heif_item_get_property_transform_mirror(context, item, property);
      turn = combined(turn, mirroring(axis == heif_transform_mirror_direction_horizontal));
    }
  }
  return turn;
}
#else
inline Turn turnOfPicture(const heif_context*, const heif_image_handle*, const InputFile& file) {
  return primaryTurn(file);
}
#endif

}  // namespace quorvin
