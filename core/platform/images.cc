#include "core/platform/images.h"

#include <utility>

namespace quorvin {

PHImageInfo::PHImageInfo() = default;
PHImageInfo::PHImageInfo(const PHImageInfo&) = default;
PHImageInfo::PHImageInfo(PHImageInfo&&) noexcept = default;
PHImageInfo& PHImageInfo::operator=(const PHImageInfo&) = default;
PHImageInfo& PHImageInfo::operator=(PHImageInfo&&) noexcept = default;
PHImageInfo::~PHImageInfo() = default;

void PHImageInfo::set(std::string_view key, Entry entry) {
  entries_.insert_or_assign(std::string(key), std::move(entry));
}

bool PHImageInfo::isTrue(std::string_view key) const {
  const auto* flag = entry<bool>(key);
  return flag != nullptr && *flag;
}

const PHImageInfo::Entry* PHImageInfo::find(std::string_view key) const {
  const auto found = entries_.find(key);
  return found == entries_.end() ? nullptr : &found->second;
}

}  // namespace quorvin
