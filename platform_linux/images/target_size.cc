#include "platform_linux/images/target_size.h"

#include <array>
#include <charconv>
#include <string>

#include "platform_linux/errors/failure.h"

namespace quorvin {

namespace {

std::string shortest(double number) {
  std::array<char, 32> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
  return {text.data(), end};
}

}  // namespace

Done checkTargetSize(CGSize targetSize) {
  // No comparison with a NaN holds.
  if (targetSize == PHImageManagerMaximumSize || (targetSize.width > 0 && targetSize.height > 0)) {
    return Null{};
  }
  return Failure(LibraryErrorCode::requestNotSupportedForAsset,
                 "the target size " + shortest(targetSize.width) + " × " +
                     shortest(targetSize.height) + " is not valid.");
}

}  // namespace quorvin
