#include "platform_linux/library/export/leaving_notes.h"

#include <sys/stat.h>

#include <utility>

#include "platform_linux/library/originals/original_file.h"
#include "platform_linux/library/originals/source_file.h"
#include "platform_linux/library/values/side_resources.h"

namespace quorvin {
namespace {

/// Of titles in one request, in bytes.
constexpr std::size_t kMostTitles = 24 << 10;

}  // namespace

WriteXmpRequest leavingNotes(const LeavingAsset& asset, const std::vector<PlacedFile>& files,
                             const std::map<std::int64_t, std::string>& albums) {
  WriteXmpRequest request;
  request.creationDate = asset.created;
  request.notes.kind = SideKind::xmp;
  request.notes.favorite = asset.favorite;
  ExportedNotes& notes = request.notes.exported.emplace();
  for (const PlacedFile& file : files) {
    if (file.resource == nullptr) continue;
    const std::string& path = file.listed.path;
    notes.parts.push_back({file.listed.type, path.substr(path.rfind('/') + 1),
                           file.was.size() <= kLongestText ? file.was : ""});
  }
  std::size_t bytes = 0;
  for (const std::int64_t row : asset.albums) {
    const std::string& title = albums.at(row);
    bytes += title.size();
    if (title.size() > kLongestText || bytes > kMostTitles) continue;
    if (notes.albums.size() < kMostNotes) notes.albums.push_back(title);
  }
  notes.modified = asset.modified;
  notes.hidden = asset.hidden;
  notes.burstIdentifier = asset.burst;
  notes.burstPrimary = asset.burstPrimary;
  notes.represents = asset.represents;
  notes.burstSelection = asset.burstSelection;
  return request;
}

FileDescriptor newestXmp(const LibraryFolder& folder, const LeavingAsset& asset) {
  FileDescriptor newest;
  std::int64_t latest = 0;
  for (const LeavingResource& resource : asset.resources) {
    if (resource.type != static_cast<std::int64_t>(kXmpFile)) continue;
    FileDescriptor file = originalFile(folder, resource.path).open();
    struct stat status = {};
    if (!file || ::fstat(file.get(), &status) != 0) continue;
    if (newest && modificationTime(status) <= latest) continue;
    latest = modificationTime(status);
    newest = std::move(file);
  }
  return newest;
}

}  // namespace quorvin
