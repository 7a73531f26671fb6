// The schema is a table like others, whose tree begins on the first page: an inner page (5) has the
// numbers of those below it, four bytes at the start of each cell and four in its head; a leaf (13)
// has none. The first page's head stands behind the 100 bytes that describe the file, among them
// the number of its pages, without which those beyond it count as damage.
#include "platform_linux/library/upkeep/schema_pages.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <set>

#include "posix/file_descriptor.h"

namespace quorvin {
namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kMostPages = 64;  // of a schema
constexpr unsigned char kInner = 5;

std::uint32_t number(const std::string& page, std::size_t at, std::size_t bytes) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < bytes && at + i < page.size(); ++i) {
    value = value << 8 | static_cast<unsigned char>(page[at + i]);
  }
  return value;
}

std::string readPage(int file, std::uint32_t page) {
  std::string bytes(kPage, '\0');
  const auto offset = static_cast<off_t>(page - 1) * static_cast<off_t>(kPage);
  if (::pread(file, bytes.data(), kPage, offset) != static_cast<ssize_t>(kPage)) bytes.clear();
  return bytes;
}

bool collect(int file, std::uint32_t page, std::set<std::uint32_t>& pages) {
  if (page == 0 || pages.size() >= kMostPages || !pages.insert(page).second) return false;
  const std::string bytes = readPage(file, page);
  if (bytes.empty()) return false;
  const std::size_t head = page == 1 ? 100 : 0;
  if (static_cast<unsigned char>(bytes[head]) != kInner) return true;
  const std::uint32_t cells = number(bytes, head + 3, 2);
  for (std::uint32_t i = 0; i < cells && i < kPage / 2; ++i) {
    const std::uint32_t cell = number(bytes, head + 12 + std::size_t{2} * i, 2);
    if (!collect(file, number(bytes, cell, 4), pages)) return false;
  }
  return collect(file, number(bytes, head + 8, 4), pages);
}

}  // namespace

bool transplantSchema(const Folder& folder, const std::string& from, const std::string& to) {
  const FileDescriptor source = folder.openRegularFile(from);
  const FileDescriptor target = folder.openFile(to, O_RDWR);
  struct stat status = {};
  std::set<std::uint32_t> pages;
  if (!source || !target || ::fstat(target.get(), &status) != 0 ||
      !collect(source.get(), 1, pages)) {
    return false;
  }
  for (const std::uint32_t page : pages) {
    std::string bytes = readPage(source.get(), page);
    if (bytes.empty()) return false;
    if (page == 1) {
      constexpr std::size_t kPageCount = 28;
      const auto count = static_cast<std::uint32_t>(
          (static_cast<std::size_t>(status.st_size) + kPage - 1) / kPage);
      for (std::size_t i = 0; i < 4; ++i) {
        bytes[kPageCount + i] = static_cast<char>(count >> (24 - 8 * i) & 0xFF);
      }
    }
    const auto offset = static_cast<off_t>(page - 1) * static_cast<off_t>(kPage);
    if (::pwrite(target.get(), bytes.data(), kPage, offset) != static_cast<ssize_t>(kPage)) {
      return false;
    }
  }
  return true;
}

}  // namespace quorvin
