// The files of an asset share a stem that nobody else has in the folder, so that they are found to
// belong together by whichever program. An earlier export's list tells which files are the asset's
// already, and spares reading them.
#include "platform_linux/library/export/exporter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <set>
#include <utility>

#include "media_protocol/sealed_memory.h"
#include "platform_linux/errors/system_failure.h"
#include "platform_linux/files/copy_content.h"
#include "platform_linux/files/file_content.h"
#include "platform_linux/library/catalogue/export_rows.h"
#include "platform_linux/library/export/asset_places.h"
#include "platform_linux/library/export/embedded_movie.h"
#include "platform_linux/library/export/export_folder.h"
#include "platform_linux/library/export/leaving_notes.h"
#include "platform_linux/library/opening/opening.h"
#include "platform_linux/library/originals/original_file.h"
#include "platform_linux/library/originals/source_file.h"
#include "platform_linux/library/values/side_resources.h"
#include "platform_linux/media/media_service.h"
#include "posix/write_all.h"

namespace quorvin {
namespace {

constexpr const char* kCopy = ".quorvin-export.sqlite";

class Export {
 public:
  Export(Catalogue& source, MediaService& media, ExportFolder folder, const ExportOptions& options)
      : source_(source), media_(media), folder_(std::move(folder)), options_(options) {}

  Result<ExportReport> run() {
    const auto copy = copyOfMoment();
    if (!copy) return copy.error();
    Database& database = **copy;
    if (auto begun = begin(database); !begun) return begun.error();
    std::int64_t last = -1;
    for (;;) {
      const auto assets = leavingAssetsAfter(database, last, options_.album);
      if (!assets) return database.lastError("the library cannot be read");
      if (assets->empty() || report_.ended) break;
      for (const LeavingAsset& asset : *assets) {
        if (options_.stop.stop_requested()) report_.ended = "it was interrupted.";
        if (report_.ended) break;
        leave(asset);
        if (options_.assetDone) options_.assetDone();
      }
      last = assets->back().row;
    }
    finish();
    return std::move(report_);
  }

 private:
  std::string whole(const std::string& path) const { return folder_.path() + "/" + path; }
  void problem(std::string sentence) { report_.problems.push_back(std::move(sentence)); }
  void cannotWrite(const std::string& path, int error) {
    if (error == ECANCELED) {
      report_.ended = "it was interrupted.";
      return;
    }
    const std::string why =
        systemFailure("“" + whole(path) + "” cannot be written", error).sentence();
    if (meansFull(error)) {
      report_.ended = why;
    } else {
      problem(why);
    }
  }

  // Nobody who changes the library meanwhile changes what is exported, or has to wait.
  Result<std::unique_ptr<Database>> copyOfMoment() {
    folder_.held().removeFile(kCopy);
    if (!folder_.held().openFile(kCopy, O_RDWR | O_CREAT | O_EXCL, 0600)) {
      return systemFailure("the folder “" + folder_.path() + "” cannot be written to", errno);
    }
    std::unique_ptr<const Folder, std::function<void(const Folder*)>> remover(
        &folder_.held(), [](const Folder* held) { held->removeFile(kCopy); });
    const std::string path = std::filesystem::canonical(folder_.path()).string() + "/" + kCopy;
    Catalogue::Reader reader = source_.reader();
    if (!reader) return reader.error();
    if (!reader->copyTo(path)) return reader->lastError("the catalogue cannot be copied");
    return Database::open(path, Database::Use::snapshot);
  }

  Done begin(Database& database) {
    const auto albums = userAlbums(database);
    const auto count = countLeavingAssets(database, options_.album);
    if (!albums || !count) return database.lastError("the library cannot be read");
    for (const AlbumRow& album : *albums) albums_.emplace(album.row, album.title);
    const bool isKnown = !options_.album || std::ranges::any_of(*albums, [this](const auto& album) {
      return album.title == *options_.album;
    });
    if (!isKnown) {
      return Failure(LibraryErrorCode::invalidResource,
                     "there is no album “" + *options_.album + "”; quorvin info lists them.");
    }
    for (const AlbumRow& album : *albums) {
      if (options_.album && album.title != *options_.album) continue;
      auto members = membersOf(database, album.row);
      if (!members) return database.lastError("the library cannot be read");
      listedAlbums_.push_back({album.title, *std::move(members)});
    }
    ExportList list = folder_.list();
    for (ListedAlbum& album : list.albums) {
      const bool isNew =
          std::ranges::find(listedAlbums_, album.title, &ListedAlbum::title) == listedAlbums_.end();
      if (isNew) listedAlbums_.push_back(std::move(album));
    }
    for (ListedAsset& asset : list.assets) {
      std::string identifier = asset.identifier;
      listed_.insert_or_assign(std::move(identifier), std::move(asset));
    }
    if (options_.assetsFound) options_.assetsFound(static_cast<std::size_t>(*count));
    return Null{};
  }

  std::string folderFor(const LeavingAsset& asset) const {
    if (options_.layout == ExportOptions::Layout::album) {
      for (const std::int64_t row : asset.albums) {
        const std::string& title = albums_.at(row);
        if (!options_.album || title == *options_.album) return safeFolderName(title);
      }
    }
    return dateFolder(asset.created);
  }

  bool liesInLibrary(const std::string& folder) const {
    const Folder opened = folder_.held().openFolder(folder);
    return opened && folderLiesIn(source_.folder(), opened.descriptor());
  }
  /// The library may lie in the folder that is filled, by a name that an album or a year has, too.
  const std::string& outsideOfLibrary(const std::string& folder) {
    std::string& outside = folders_[folder];
    if (!outside.empty()) return outside;
    for (std::size_t begin = 0; begin < folder.size();) {
      const std::size_t end = std::min(folder.find('/', begin), folder.size());
      const std::string above = outside.empty() ? "" : outside + "/";
      int number = 1;
      do {
        outside = above + numberedStem(folder.substr(begin, end - begin), number++);
      } while (liesInLibrary(outside));
      begin = end + 1;
    }
    return outside;
  }

  void leave(const LeavingAsset& asset) {
    std::vector<LeavingFile> files = leavingFiles(asset, options_.parts);
    dropEmbeddedMovie(source_.folder(), media_, files);
    if (files.empty()) {
      problem("The asset " + asset.identifier + " has no file to export.");
      return;
    }
    const std::string folder = outsideOfLibrary(folderFor(asset));
    if (const int error = folder_.enter(folder); error != 0) return cannotWrite(folder, error);
    const auto earlier = listed_.find(asset.identifier);
    const ListedAsset* before = earlier == listed_.end() ? nullptr : &earlier->second;
    store(asset, places_.find(asset, folder, std::move(files), before), before);
  }

  void store(const LeavingAsset& asset, std::vector<PlacedFile> files, const ListedAsset* before) {
    bool isWhole = true;
    for (PlacedFile& file : files) {
      if (report_.ended) return;
      const bool isDone =
          file.resource != nullptr ? copy(asset, file) : describe(asset, files, file);
      isWhole = isWhole && isDone;
    }
    ListedAsset listed{asset.row, asset.identifier, {}};
    for (PlacedFile& file : files) {
      if (!file.isThere) continue;
      ++report_.files;
      listed.files.push_back(std::move(file.listed));
    }
    for (std::size_t i = 0; before != nullptr && i < before->files.size(); ++i) {
      const ListedFile& earlier = before->files[i];
      const auto isIt = [&earlier](const ListedFile& file) { return file.path == earlier.path; };
      if (std::ranges::any_of(listed.files, isIt)) continue;
      if (folder_.hasFile(earlier.path, earlier.size, {})) listed.files.push_back(earlier);
    }
    if (isWhole) ++report_.assets;
    if (const int error = folder_.note(exportListLines(listed)); error != 0) {
      cannotWrite(kExportList, error);
    }
    listed_.insert_or_assign(asset.identifier, std::move(listed));
  }

  bool copy(const LeavingAsset& asset, PlacedFile& file) {
    if (file.isThere) return true;
    const std::string& path = file.listed.path;
    const FileDescriptor original = originalFile(source_.folder(), file.resource->path).open();
    struct stat status = {};
    if (!original || ::fstat(original.get(), &status) != 0) {
      problem("The original of “" + whole(path) + "” is not in the library.");
      return false;
    }
    bool isOfSource = false;
    bool isDamaged = false;
    const int error = folder_.write(path, asset.modified, [&](int target) {
      const auto failure = copyContent(original.get(), 0, status.st_size, target, options_.stop);
      isOfSource = failure && failure->isOfSource;
      if (failure) return failure->errorNumber;
      isDamaged = !isAsItWas(original, file.listed);
      return isDamaged ? EIO : 0;
    });
    if (isDamaged) {
      problem("The original of “" + whole(path) +
              "” is not what it was when it was added, and is not exported; look at the library "
              "with quorvin check --content.");
    } else if (isOfSource && error != ECANCELED) {
      problem(
          systemFailure("the original of “" + whole(path) + "” cannot be read", error).sentence());
    } else if (error != 0) {
      cannotWrite(path, error);
    }
    if (error == 0) noteNew(file);
    return error == 0;
  }

  /// One that has no checksum yet is believed.
  static bool isAsItWas(const FileDescriptor& original, ListedFile& listed) {
    auto hash = hashContent(original.get());
    if (!hash) return false;
    if (listed.hash.empty()) listed.hash = *hash;
    return *hash == listed.hash;
  }

  bool describe(const LeavingAsset& asset, const std::vector<PlacedFile>& files, PlacedFile& xmp) {
    const std::string& path = xmp.listed.path;
    const auto packet = tell(asset, files, xmp.listed);
    if (!packet) {
      problem("“" + whole(path) + "” cannot be made: " + packet.error().reason);
      return false;
    }
    if (folder_.hashOf(path, xmp.listed.size) == xmp.listed.hash) return xmp.isThere = true;
    const int error = folder_.write(
        path, asset.modified, [&packet](int target) { return writeAll(target, packet->bytes()); });
    if (error != 0) {
      cannotWrite(path, error);
      return false;
    }
    noteNew(xmp);
    return true;
  }

  /// The XMP, whose size and hash are noted.
  Result<ByteBuffer> tell(const LeavingAsset& asset, const std::vector<PlacedFile>& files,
                          ListedFile& xmp) {
    auto packet = packetFor(asset, files);
    if (!packet) return packet;
    const FileDescriptor memory = sealedMemoryOf(packet->bytes());
    if (!memory) return Failure(LibraryErrorCode::internal, "memory ran out.");
    auto hash = hashContent(memory.get());
    if (!hash) return hash.error();
    xmp.size = static_cast<std::int64_t>(packet->size());
    xmp.hash = *std::move(hash);
    return packet;
  }

  Result<ByteBuffer> packetFor(const LeavingAsset& asset, const std::vector<PlacedFile>& files) {
    return media_.writeXmp(newestXmp(source_.folder(), asset), leavingNotes(asset, files, albums_));
  }

  void noteNew(PlacedFile& file) {
    file.isThere = true;
    ++report_.newFiles;
    report_.bytes += file.listed.size;
    written_.push_back(file.listed);
  }

  void finish() {
    if (const int error = folder_.sync(); error != 0) cannotWrite(kExportList, error);
    verify();
    std::vector<const ListedAsset*> assets;
    for (const auto& [identifier, asset] : listed_) assets.push_back(&asset);
    std::ranges::sort(assets, {}, [](const ListedAsset* asset) {
      return std::pair(asset->row, std::string_view(asset->identifier));
    });
    std::string text = exportListHead(listedAlbums_);
    for (const ListedAsset* asset : assets) text += exportListLines(*asset);
    if (const int error = folder_.replaceList(text); error != 0) cannotWrite(kExportList, error);
  }

  void verify() {
    std::set<std::string_view> notWhole;
    for (const ListedFile& file : written_) {
      if (folder_.hashOf(file.path, file.size) == file.hash) continue;
      problem("“" + whole(file.path) +
              "” is not what was written, and does not count as exported; look whether its disk "
              "is sound, and export again.");
      folder_.removeWritten(file.path);
      --report_.files;
      --report_.newFiles;
      report_.bytes -= file.size;
      for (auto& [identifier, asset] : listed_) {
        const auto isIt = [&file](const ListedFile& each) { return each.path == file.path; };
        if (std::erase_if(asset.files, isIt) != 0) notWhole.insert(identifier);
      }
    }
    report_.assets -= std::ssize(notWhole);
  }

  Catalogue& source_;
  MediaService& media_;
  ExportFolder folder_;
  AssetPlaces places_{folder_, [this](const auto& asset, const auto& files, ListedFile& xmp) {
                        return static_cast<bool>(tell(asset, files, xmp));
                      }};
  const ExportOptions& options_;
  std::map<std::int64_t, std::string> albums_;  ///< titles by row
  std::vector<ListedAlbum> listedAlbums_;
  std::map<std::string, ListedAsset> listed_;   ///< by identifier
  std::map<std::string, std::string> folders_;  ///< outside of the library, by what they would be
  std::vector<ListedFile> written_;
  ExportReport report_;
};

}  // namespace

Result<ExportReport> exportLibrary(const std::string& library, MediaService& media,
                                   const std::string& target, const ExportOptions& options) {
  auto source = openCatalogue(library, MissingLibrary::refuse);
  if (!source) return source.error();
  std::filesystem::path there = std::filesystem::absolute(target);
  while (there.has_relative_path() && !std::filesystem::exists(there)) there = there.parent_path();
  if (folderLiesIn((*source)->folder(), there.string())) {
    return Failure(LibraryErrorCode::invalidResource,
                   "“" + target + "” lies in the library; name a folder outside of it.");
  }
  auto folder = ExportFolder::open(target);
  if (!folder) return folder.error();
  return Export(**source, media, *std::move(folder), options).run();
}

}  // namespace quorvin
