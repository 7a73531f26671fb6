#include "platform_linux/library/import/folder_albums.h"

#include "media_protocol/letter_case.h"

namespace quorvin {
namespace {

constexpr std::string_view kAlbumFile = "metadata.json";

std::string nameOfFolder(const std::string& folder) {
  return std::string(nameOfSource(folder));
}

}  // namespace

void FolderAlbums::find(const std::vector<FoundFile>& files, FileLooks& looks) {
  for (const FoundFile& found : files) {
    if (lowerCase(nameOfSource(found.path)) != kAlbumFile) continue;
    const auto file = looks.look(found);
    if (!file || file->probe.notes.kind != SideKind::album) continue;
    const std::string& title = file->probe.notes.title;
    titles_[file->folder] = title.empty() ? nameOfFolder(file->folder) : title;
  }
}

bool FolderAlbums::has(const FoundFile& file) const {
  if (options_.albumTitle || options_.foldersAreAlbums) return true;
  return !titles_.empty() && titles_.contains(folderOfSource(file.path));
}

std::vector<std::string> FolderAlbums::of(const std::string& folder) const {
  std::vector<std::string> titles;
  if (options_.albumTitle) titles.push_back(*options_.albumTitle);
  const auto own = titles_.find(folder);
  if (own != titles_.end()) {
    titles.push_back(own->second);
  } else if (options_.foldersAreAlbums && !nameOfFolder(folder).empty()) {
    titles.push_back(nameOfFolder(folder));
  }
  return titles;
}

}  // namespace quorvin
