// What differs between the versions of libheif: 1.15 (Debian 12) and 1.23 (Debian 13).
#pragma once

#include <libheif/heif.h>
#include <libheif/heif_plugin.h>

#include <cstddef>
#include <cstdint>

namespace quorvin {

/// What a decoder of single pictures does.
struct HeifDecoderCalls {
  int (*supports)(heif_compression_format format);
  heif_error (*make)(void** decoder);
  heif_error (*push)(void* decoder, const void* data, std::size_t size);
  heif_error (*decode)(void* decoder, heif_image** image);
};

// From 1.21 on libheif takes no decoder that knows single pictures alone: it asks for a next one,
// until it gets none.
#if defined(heif_decoder_plugin_latest_version) && heif_decoder_plugin_latest_version >= 5
template <HeifDecoderCalls kCalls>
void setDecoderCalls(heif_decoder_plugin& plugin) {
  plugin.plugin_api_version = 5;
  plugin.does_support_format = kCalls.supports;
  plugin.does_support_format2 =
      [](const heif_decoder_plugin_compressed_format_description* description) {
        return kCalls.supports(description->format);
      };
  plugin.new_decoder = kCalls.make;
  plugin.new_decoder2 = [](void** decoder, const heif_decoder_plugin_options*) {
    return kCalls.make(decoder);
  };
  plugin.push_data = kCalls.push;
  plugin.push_data2 = [](void* decoder, const void* data, std::size_t size, std::uintptr_t) {
    return kCalls.push(decoder, data, size);
  };
  plugin.flush_data = [](void*) {
    return heif_error{heif_error_Ok, heif_suberror_Unspecified, ""};
  };
  plugin.decode_image = kCalls.decode;
  plugin.decode_next_image = [](void* decoder, heif_image** image, const heif_security_limits*) {
    return kCalls.decode(decoder, image);
  };
  plugin.decode_next_image2 = [](void* decoder, heif_image** image, std::uintptr_t* userData,
                                 const heif_security_limits*) {
    if (userData != nullptr) *userData = 0;
    return kCalls.decode(decoder, image);
  };
}
#else
template <HeifDecoderCalls kCalls>
void setDecoderCalls(heif_decoder_plugin& plugin) {
  plugin.plugin_api_version = 3;
  plugin.does_support_format = kCalls.supports;
  plugin.new_decoder = kCalls.make;
  plugin.push_data = kCalls.push;
  plugin.decode_image = kCalls.decode;
}
#endif

}  // namespace quorvin
