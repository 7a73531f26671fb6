#include "platform_linux/library/inbox/arrivals.h"

#include <algorithm>

namespace quorvin {

void Arrivals::note(const std::string& path, Time now) {
  if (!isAnyWaiting()) first_ = now;
  File& file = files_[path];
  file.state = look_(path);
  file.since = last_ = now;
}

void Arrivals::noteWriting(const std::string& path) {
  files_[path].isWritten = true;
}

void Arrivals::noteWritten(const std::string& path, Time now) {
  note(path, now);
  files_[path].isWritten = false;
}

void Arrivals::doubtWriting() {
  for (auto& [path, file] : files_) file.isWritten = false;
}

void Arrivals::forgetBeneath(const std::string& folder) {
  const std::string prefix = folder.ends_with('/') ? folder : folder + "/";
  const auto from = files_.lower_bound(prefix);
  auto to = from;
  while (to != files_.end() && to->first.starts_with(prefix)) ++to;
  files_.erase(from, to);
}

bool Arrivals::isAnyWaiting() const {
  return std::ranges::any_of(files_, [](const auto& each) { return !each.second.isWritten; });
}

std::optional<Arrivals::Time> Arrivals::next() const {
  if (!isAnyWaiting()) return std::nullopt;
  return std::min(last_ + pace_.quiet, first_ + pace_.longest);
}

std::vector<Arrival> Arrivals::take(Time now) {
  std::vector<Arrival> taken;
  const std::optional<Time> due = next();
  if (!due || now < *due) return taken;
  for (auto each = files_.begin(); each != files_.end();) {
    auto& [path, file] = *each;
    if (file.isWritten || now < file.since + pace_.quiet) {
      ++each;
      continue;
    }
    const std::optional<SourceState> state = look_(path);
    if (state && state != file.state) {
      file.state = state;
      file.since = last_ = now;
      ++each;
      continue;
    }
    if (state && state->size > 0) taken.push_back({path, *state});
    each = files_.erase(each);
  }
  first_ = now;
  return taken;
}

}  // namespace quorvin
