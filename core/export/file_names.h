// Names and paths of exported files.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvin {

/// stringByDeletingPathExtension: without the last extension of the last component, if it has one.
/// A dot at a component's start begins no extension.
std::string deletingPathExtension(std::string_view path);

/// stringByAppendingPathExtension: none when there is no name that an extension could follow.
std::optional<std::string> appendingPathExtension(std::string path, std::string_view extension);

/// The folder and the name with one slash between them; slashes in the name stay.
std::string pathIn(std::string_view folder, std::string_view name);

}  // namespace quorvin
