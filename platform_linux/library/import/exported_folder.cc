#include "platform_linux/library/import/exported_folder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "platform_linux/library/catalogue/album_rows.h"
#include "platform_linux/library/catalogue/export_rows.h"
#include "platform_linux/library/values/identifiers.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

/// The places of files in a list.
using Places = std::map<std::string, std::size_t>;

std::string withoutEnd(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::optional<ExportList> listIn(const std::string& folder) {
  constexpr std::uintmax_t kLongest = std::uintmax_t{1} << 30;
  const fs::path path = fs::path(folder) / kExportList;
  std::error_code error;
  if (!fs::is_regular_file(fs::symlink_status(path, error)) ||
      fs::file_size(path, error) > kLongest || error) {
    return std::nullopt;
  }
  std::ifstream file(path, std::ios::binary);
  return readExportList(std::string(std::istreambuf_iterator<char>(file), {}));
}

Places placesIn(const ExportList& list) {
  Places places;
  for (const ListedAsset& asset : list.assets) {
    for (const ListedFile& file : asset.files) places.emplace(file.path, places.size());
  }
  return places;
}

/// The folder with a list that each file lies in, and the lists.
class Lists {
 public:
  explicit Lists(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) named_.insert(withoutEnd(path));
  }

  /// Of the innermost folder with a list, or none.
  const std::string* folderOf(const FoundFile& file) {
    if (named_.contains(withoutEnd(file.path))) return nullptr;
    return find(fs::path(file.path).parent_path().string());
  }
  std::size_t placeOf(const std::string& folder, const std::string& path) const {
    const Places& places = places_.at(folder);
    const auto found = places.find(path.substr(std::min(folder.size() + 1, path.size())));
    return found == places.end() ? places.size() : found->second;
  }
  // Of all lists that were found.
  std::vector<ListedAlbum> albums;
  std::map<std::string, ListedFile> firstFiles;

 private:
  const std::string* find(const std::string& folder) {
    const auto known = folders_.find(folder);
    if (known != folders_.end()) return known->second;
    const std::string* found = nullptr;
    if (auto list = listIn(folder)) {
      found = &places_.emplace(folder, placesIn(*list)).first->first;
      std::ranges::move(list->albums, std::back_inserter(albums));
      for (ListedAsset& asset : list->assets) {
        if (asset.files.empty()) continue;
        firstFiles.emplace(std::move(asset.identifier), std::move(asset.files.front()));
      }
    } else if (!named_.contains(withoutEnd(folder)) && folder.find('/') != folder.npos) {
      found = find(fs::path(folder).parent_path().string());
    }
    folders_.emplace(folder, found);
    return found;
  }

  std::set<std::string> named_;
  std::map<std::string, const std::string*> folders_;
  std::map<std::string, Places> places_;  ///< by folder
};

}  // namespace

void ExportedFolders::arrange(std::vector<FoundFile>& files,
                              const std::vector<std::string>& paths) {
  Lists lists(paths);
  std::map<const std::string*, std::vector<FoundFile>> listed;
  std::vector<std::pair<const std::string*, FoundFile>> firsts;
  for (FoundFile& file : files) {
    const std::string* folder = lists.folderOf(file);
    if (folder == nullptr) {
      firsts.emplace_back(nullptr, std::move(file));
      continue;
    }
    std::vector<FoundFile>& together = listed[folder];
    if (together.empty()) firsts.emplace_back(folder, FoundFile());
    together.push_back(std::move(file));
  }
  files.clear();
  for (auto& [folder, file] : firsts) {
    if (folder == nullptr) {
      files.push_back(std::move(file));
      continue;
    }
    std::vector<FoundFile>& together = listed[folder];
    std::ranges::stable_sort(together, {}, [&, folder = folder](const FoundFile& each) {
      return lists.placeOf(*folder, each.path);
    });
    std::ranges::move(together, std::back_inserter(files));
  }
  albums_ = std::move(lists.albums);
  firstFiles_ = std::move(lists.firstFiles);
}

Done ExportedFolders::makeAlbums(Catalogue& catalogue) {
  if (albums_.empty()) return Null{};
  std::vector<const ListedAlbum*> missing;
  {
    Catalogue::Reader reader = catalogue.reader();
    if (!reader) return reader.error();
    const auto there = userAlbums(*reader);
    if (!there) return reader->lastError("the library's albums cannot be read");
    std::multiset<std::string> titles;
    for (const AlbumRow& album : *there) titles.insert(album.title);
    for (const ListedAlbum& album : albums_) {
      const auto same = titles.find(album.title);
      if (same == titles.end()) {
        missing.push_back(&album);
      } else {
        titles.erase(same);
      }
    }
  }
  if (missing.empty()) return Null{};
  return catalogue.change([&](Database& writer) -> Done {
    made_.clear();
    for (const ListedAlbum* album : missing) {
      const auto row = insertAlbum(writer, newCollectionIdentifier(), album->title);
      if (!row) return writer.lastError("an album cannot be stored");
      made_.emplace_back(*row, album);
    }
    return Null{};
  });
}

Done ExportedFolders::fillAlbums(Catalogue& catalogue) const {
  if (made_.empty()) return Null{};
  return catalogue.change([this](Database& writer) -> Done {
    for (const auto& [row, album] : made_) {
      std::vector<std::int64_t> members;
      for (const std::string& member : album->members) {
        const auto file = firstFiles_.find(member);
        if (file == firstFiles_.end()) continue;
        const auto asset = assetWithFile(writer, file->second.size, file->second.hash);
        if (asset) members.push_back(*asset);
      }
      // By its title alone an asset comes into the first of them.
      const auto ofOneTitle = std::ranges::count(albums_, album->title, &ListedAlbum::title);
      const auto others = ofOneTitle > 1 ? OtherMembers::go : OtherMembers::stay;
      if (!setMembers(writer, row, std::move(members), others)) {
        return writer.lastError("an album cannot be stored");
      }
    }
    return Null{};
  });
}

}  // namespace quorvin
