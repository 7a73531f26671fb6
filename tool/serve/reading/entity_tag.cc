#include "tool/serve/reading/entity_tag.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <array>
#include <cstdint>
#include <cstdio>

namespace quorvin {

std::string entityTagOf(std::initializer_list<std::string_view> parts) {
  std::string all;
  for (const std::string_view part : parts) {
    all += part;
    all += '\0';
  }
  const XXH128_hash_t hash = XXH3_128bits(all.data(), all.size());
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "\"%016llx%016llx\"",
                static_cast<unsigned long long>(hash.high64),
                static_cast<unsigned long long>(hash.low64));
  return text.data();
}

bool namesTag(std::string_view header, std::string_view tag) {
  if (header == "*") return true;
  // A tag of ours holds neither a quote nor a comma, so that it stands nowhere by chance.
  return header.find(tag) != std::string_view::npos;
}

}  // namespace quorvin
