// Replies as a person reads them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/platform/value.h"

namespace quorvin {

/// Rows under a heading; every column as wide as its widest text, numbers to the right.
class Table {
 public:
  explicit Table(std::vector<std::string> heading) : rows_{std::move(heading)} {}
  void add(std::vector<std::string> row);
  void print() const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

/// The entry's integer, boolean as 0 or 1, or 0; its double; its text.
std::int64_t integerAt(const Value& map, std::string_view key);
double doubleAt(const Value& map, std::string_view key);
std::string textAt(const Value& map, std::string_view key);
bool flagAt(const Value& map, std::string_view key);

/// Milliseconds since 1970 as a local date and time.
std::string readableDate(std::int64_t milliseconds);
/// "0:02.5"; "" for 0.
std::string readableDuration(double milliseconds);
std::string readableSize(std::size_t bytes);

/// Prints galleries, asset records, or any value as JSON.
void printGalleries(const List& galleries);
void printAssets(const List& assets);
void printValue(const Value& value);

}  // namespace quorvin
