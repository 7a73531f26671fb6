#include "core/export/file_names.h"

#include <filesystem>
#include <utility>

namespace quorvin {

std::string deletingPathExtension(std::string_view path) {
  return std::filesystem::path(path).replace_extension().string();
}

std::optional<std::string> appendingPathExtension(std::string path, std::string_view extension) {
  if (path.find_first_not_of('/') == std::string::npos) return std::nullopt;
  return std::move(path.append(".").append(extension));
}

std::string pathIn(std::string_view folder, std::string_view name) {
  return std::string(folder).append("/").append(name);
}

}  // namespace quorvin
