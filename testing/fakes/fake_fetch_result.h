// A fetch result over objects in memory.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "core/platform/photo_library.h"

namespace quorvin {

template <class T>
class FakeFetchResult : public PHFetchResult<T> {
 public:
  using Objects = std::vector<typename PHFetchResult<T>::Object>;
  /// Sees every range that is loaded, before it is.
  using OnLoad = std::function<void(IndexRange)>;

  explicit FakeFetchResult(Objects objects, OnLoad onLoad = {},
                           std::optional<std::size_t> pretendedCount = {})
      : objects_(std::move(objects)),
        onLoad_(std::move(onLoad)),
        count_(pretendedCount.value_or(objects_.size())) {}

  std::size_t count() const override { return count_; }

  Objects objectsAtIndexes(IndexRange range) const override {
    if (range.first > range.last || range.last > objects_.size()) {
      fatalError("The range of a fetch result is out of bounds");
    }
    if (onLoad_) onLoad_(range);
    return {objects_.begin() + static_cast<std::ptrdiff_t>(range.first),
            objects_.begin() + static_cast<std::ptrdiff_t>(range.last)};
  }

 private:
  const Objects objects_;
  const OnLoad onLoad_;
  const std::size_t count_;
};

}  // namespace quorvin
