// Reads any text as what stands beside an original, and as a line of the list of those that are on
// their way: a library may come from anybody.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "platform_linux/library/originals/original_path.h"
#include "platform_linux/library/originals/original_record.h"

namespace quorvin {
namespace {

void checkRecord(std::string_view text) {
  const auto record = recordFromText(text);
  if (!record) return;
  require(isAssetIdentifier(record->asset.identifier), "it is an asset's");
  const std::string told = textOf(*record);
  const auto again = recordFromText(told);
  require(again && textOf(*again) == told, "a record that is written is read as it was");
}

void checkPath(std::string_view path) {
  if (!resourcePathIsOurs(path)) return;
  require(path.find('/') == 2 && path.rfind('/') == 2, "it is in one folder");
  require(path.find("..") == std::string_view::npos, "it leads nowhere else");
  require(path.find_first_of(std::string_view("\0\n", 2)) == std::string_view::npos,
          "it is a line of a list");
}

}  // namespace
}  // namespace quorvin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  quorvin::checkRecord(text);
  quorvin::checkPath(text);
  return 0;
}
