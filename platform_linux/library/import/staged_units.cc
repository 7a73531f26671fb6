#include "platform_linux/library/import/staged_units.h"

#include <cstdint>
#include <utility>

namespace quorvin {
namespace {

// What is stored together: enough for what each time costs, little enough to show progress, and to
// be held open.
constexpr std::int64_t kMostBytes = 256LL * 1024 * 1024;
constexpr std::size_t kMostParts = 64;

std::vector<std::size_t> endsOfStretches(const std::vector<ImportFile>& files,
                                         const std::vector<ImportUnit>& units) {
  std::vector<std::size_t> ends;
  UnitSize stretch;
  for (std::size_t i = 0; i < units.size(); ++i) {
    const UnitSize unit = sizeOf(files, units[i]);
    stretch.bytes += unit.bytes;
    stretch.parts += unit.parts;
    if (stretch.bytes < kMostBytes && stretch.parts < kMostParts) continue;
    ends.push_back(i + 1);
    stretch = {};
  }
  if (stretch.parts > 0) ends.push_back(units.size());
  return ends;
}

}  // namespace

StagedUnits::StagedUnits(OriginalCopies& copies, const std::vector<ImportFile>& files,
                         const std::vector<ImportUnit>& units, BytesListener copied)
    : copies_(copies),
      files_(files),
      units_(units),
      copied_(std::move(copied)),
      ends_(endsOfStretches(files, units)),
      staged_(units.size()) {
  for (std::size_t i = 0; i < ends_.size(); ++i)
    pending_.push_back(std::make_unique<PendingWork>());
}

StagedUnits::~StagedUnits() {
  giveUp();
}

void StagedUnits::giveUp() {
  isGivenUp_ = true;
  for (const auto& each : pending_) each->wait();
  for (std::optional<StagedUnit>& unit : staged_) {
    if (unit) discard(copies_, *unit);
    unit.reset();
  }
}

void StagedUnits::copy(std::size_t stretch, WorkThreads& threads) {
  for (std::size_t i = begin(stretch); i < end(stretch); ++i) {
    pending_[stretch]->add(threads, [this, i] {
      if (!isGivenUp_) staged_[i] = copyNow(i);
    });
  }
}

void StagedUnits::wait(std::size_t stretch, const std::function<void()>& meanwhile) {
  pending_[stretch]->wait(meanwhile);
}

std::optional<StagedUnit> StagedUnits::take(std::size_t unit) {
  std::optional<StagedUnit>& staged = staged_[unit];
  if (!staged || staged->isOfShortage()) giveUp();
  return std::exchange(staged, std::nullopt);
}

StagedUnit StagedUnits::copyNow(std::size_t unit) {
  return stageUnit(copies_, files_, units_[unit], copied_);
}

}  // namespace quorvin
