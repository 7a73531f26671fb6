// What differs between the versions of libheif: 1.15 (Debian 12) and 1.23 (Debian 13).
#pragma once

#include <libheif/heif.h>
#include <libheif/heif_plugin.h>

#include <cstddef>
#include <cstdint>

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

}  // namespace quorvin
