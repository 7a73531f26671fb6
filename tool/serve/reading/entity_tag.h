// What a browser keeps of a resource is known by its entity tag.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace quorvin {

/// A strong tag, in its quotes, of all that the content depends on.
std::string entityTagOf(std::initializer_list<std::string_view> parts);

/// Whether an If-None-Match header names the tag, or any.
bool namesTag(std::string_view header, std::string_view tag);

}  // namespace quorvin
