// Changes a library by the C interface, and as its owner does, and tells of it, line by line, to
// whoever started it: what it is about to do, and what was answered.
//
// crash_changer LIBRARY MEDIA JOB SEED [CALLS NUMBER KIND ERROR]
//
// Standard output is a socket. The job "mix" makes changes of all kinds in random order until the
// other end is shut down; "mixOwn" leaves alone what others made. The other jobs do one thing, the
// last four words saying which of its calls to the system goes wrong.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/locations.h"
#include "platform_linux/library/upkeep/trash.h"
#include "platform_linux/media/media_worker_pool.h"
#include "tests/crash/changer_engine.h"
#include "tests/crash/changer_media.h"
#include "tests/crash/changer_upkeep.h"
#include "tests/crash/faulty_files.h"
#include "tests/crash/file_record.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

struct Order {
  std::string library;
  std::string media;
  std::string job;
  unsigned seed = 0;
  std::optional<Fault> fault;

  std::string temporary() const { return library + "-temporary"; }
  /// Of files that were made to be brought in.
  std::string coming() const { return library + "-coming"; }
  bool ownsAll() const { return job == "mix"; }
  void arm() const {
    if (fault) inject(library, *fault);
    const char* record = std::getenv("QUORVIN_CRASH_RECORD");
    // Of a library that is yet to be made, also what is above it.
    fs::path there = library;
    while (!fs::exists(there)) there = there.parent_path();
    if (record != nullptr) recordFiles(there.string(), record);
  }
};

std::string nameOf(const std::vector<std::string>& files) {
  std::string name;
  for (const std::string& file : files) name += (name.empty() ? "" : "+") + file;
  return name;
}

void makeFiles(const Order& order, const std::vector<std::string>& names) {
  fs::create_directory(order.coming());
  for (const std::string& name : names) {
    std::ofstream(order.coming() + "/" + name, std::ios::binary) << contentOf(order.media, name);
  }
}

std::string textAt(const Value& map, std::string_view key) {
  const Value* value = map.as<Map>() == nullptr ? nullptr : find(*map.as<Map>(), key);
  return value == nullptr ? "" : std::string(value->text());
}

class Changer {
 public:
  Changer(Engine& engine, const Order& order)
      : engine_(engine), order_(order), random_(order.seed) {}

  /// Learns what is there, so that it is changed too. False when an answer was an error.
  bool look() {
    const auto galleries = engine_.call("getGalleryList", Map{{"withAllPhotos", true},
                                                              {"filterEmptyAsset", false},
                                                              {"withSmartAlbum", true},
                                                              {"mediaType", 0}});
    if (!galleries) return false;
    for (const Value& gallery : *galleries->as<List>()) {
      if (textAt(gallery, "title") == "Recents") {
        if (!list(textAt(gallery, "id"))) return false;
      } else if (textAt(gallery, "type") == "user") {
        albums_.push_back(textAt(gallery, "id"));
      }
    }
    return true;
  }

  /// Nothing is missing in a list that is answered.
  void listAgain() {
    const auto known = assets_;
    assets_.clear();
    if (!look()) return;
    if (assets_ == known) return tell({"done"});
    tell({"error", "the list is another one"});
  }

  void save(const ChangerMedia& media, const std::string& album) {
    saveFile(order_.media + "/" + media.name, media.isVideo, media.name, album);
  }

  void saveMotionPhoto() {
    const auto number = static_cast<unsigned>(random_());
    const std::string file = madeMotionPhoto(number);
    makeFiles(order_, {file});
    saveFile(order_.coming() + "/" + file, false, nameOf({file, movieIn(file)}), "");
  }

  /// Some of them live photos.
  void importSome() {
    std::vector<std::string> files;
    std::vector<std::string> line = {"import"};
    for (std::size_t count = 1 + upTo(2); count > 0; --count) {
      const auto number = static_cast<unsigned>(random_());
      std::vector<std::string> halves = {madeStill(number)};
      if (upTo(1) == 0) halves.push_back(madeMovie(number));
      files.insert(files.end(), halves.begin(), halves.end());
      line.push_back(nameOf(halves));
    }
    makeFiles(order_, files);
    if (!workers_) workers_.emplace(MediaWorkerOptions{.program = mediaWorkerProgram(), .size = 1});
    tell(line);
    importFiles(order_.library, *workers_, order_.coming(), files);
  }

  void tend() {
    const std::size_t choice = upTo(order_.ownsAll() ? 3 : 2);
    tell({choice == 0 ? "check" : choice == 3 ? "backup" : "snapshot"});
    if (choice == 0) return repair(order_.library, true);
    if (choice == 3) return backUp(order_.library, upTo(1) == 0);
    makeOneSnapshot(order_.library);
  }

  void createAlbum(const std::string& title) {
    tell({"album", title});
    const auto record = engine_.call("createAlbum", Map{{"title", title}});
    if (!record) return;
    albums_.push_back(textAt(*record, "id"));
    tell({"done", albums_.back()});
  }

  void remove(std::size_t count) {
    List identifiers;
    std::vector<std::string> line = {"delete"};
    for (; count > 0 && !assets_.empty(); --count) {
      const std::size_t which = upTo(assets_.size() - 1);
      line.push_back(assets_[which]);
      identifiers.emplace_back(assets_[which]);
      assets_.erase(assets_.begin() + static_cast<std::ptrdiff_t>(which));
    }
    tell(line);
    if (engine_.call("deleteAssets", Map{{"assetIds", identifiers}})) tell({"done"});
  }

  void exportOne() {
    if (assets_.empty()) return;
    const std::string asset = assets_[upTo(assets_.size() - 1)];
    if (videos_.contains(asset)) return;
    tell({"export", asset});
    const auto record = engine_.call(
        "getImageUrl", Map{{"assetId", asset}, {"convertJpeg", false}, {"mediumQuality", false}});
    if (record) tell({"done", textAt(*record, "url")});
  }

  void changeSomething() {
    const std::size_t choice = upTo(99);
    if (choice < 22) return save(kChangerImages[upTo(kChangerImages.size() - 1)], "");
    if (choice < 26) return save(kChangerVideo, "");
    if (choice < 30) return saveMotionPhoto();
    if (choice < 48) {
      return save(kChangerImages[upTo(kChangerImages.size() - 1)],
                  albums_.empty() ? "" : albums_[upTo(albums_.size() - 1)]);
    }
    if (choice < 60) return importSome();
    if (choice < 70) return createAlbum("Album " + std::to_string(random_()));
    if (choice < 82) return remove(1 + upTo(2));
    if (choice < 92) return tend();
    exportOne();
  }

  const std::string& firstAlbum() const { return albums_.front(); }

 private:
  std::size_t upTo(std::size_t last) {
    return std::uniform_int_distribution<std::size_t>(0, last)(random_);
  }

  void saveFile(const std::string& path, bool isVideo, const std::string& name,
                const std::string& album) {
    Map arguments{{"filePath", path}};
    if (!album.empty()) arguments.emplace_back("collectionId", album);
    tell({"save", name, album});
    const auto record = engine_.call(isVideo ? "saveVideo" : "saveImage", arguments);
    if (!record) return;
    const std::string identifier = textAt(*record, "id");
    assets_.push_back(identifier);
    if (isVideo) videos_.insert(identifier);
    tell({"done", identifier});
  }

  bool list(const std::string& collection) {
    // Videos cannot be exported as images, and are only ever saved.
    const auto page = engine_.call("getAssetList", Map{{"collectionId", collection},
                                                       {"start", 0},
                                                       {"end", 10'000},
                                                       {"sort", 1},
                                                       {"mediaType", 1}});
    if (!page) return false;
    for (const Value& record : *page->as<List>()) assets_.push_back(textAt(record, "id"));
    return true;
  }

  Engine& engine_;
  const Order& order_;
  std::mt19937 random_;
  std::optional<MediaWorkerPool> workers_;  ///< of imports
  std::vector<std::string> assets_;
  std::set<std::string> videos_;  ///< among the assets
  std::vector<std::string> albums_;
};

// Jobs without an engine.
bool doWithout(const Order& order) {
  if (order.job == "emptyTrash") {
    order.arm();
    emptyWholeTrash(order.library);
  } else if (order.job == "restore") {
    const auto trashed = listTrash(order.library);
    if (!trashed) std::exit(EXIT_FAILURE);
    order.arm();
    std::vector<std::string> identifiers;
    for (const TrashedAsset& asset : *trashed) identifiers.push_back(asset.localIdentifier);
    restoreAll(order.library, identifiers);
  } else if (order.job == "importPair" || order.job == "importTen") {
    std::vector<std::string> files;
    const unsigned count = order.job == "importPair" ? 1 : 10;
    for (unsigned number = 1; number <= count; ++number) files.push_back(madeStill(number));
    if (order.job == "importPair") files.push_back(madeMovie(1));
    makeFiles(order, files);
    MediaWorkerPool workers({.program = mediaWorkerProgram(), .size = 1});
    order.arm();
    importFiles(order.library, workers, order.coming(), files);
  } else if (order.job == "snapshot") {
    order.arm();
    makeOneSnapshot(order.library);
  } else if (order.job == "backup") {
    order.arm();
    backUp(order.library, true);
  } else if (order.job == "backupInto") {
    if (order.fault) inject(order.library + "-backup", *order.fault);
    backUp(order.library, true);
  } else if (order.job == "check") {
    order.arm();
    checkAll(order.library);
  } else if (order.job == "repair") {
    tell({"repair"});
    order.arm();
    repair(order.library, false);
  } else {
    return false;
  }
  return true;
}

void changeOnce(const Order& order) {
  const bool isOpened = order.job == "open" || order.job == "begin";
  if (isOpened) order.arm();
  Engine engine(order.library, order.temporary());
  if (!engine) return;
  if (order.job == "open") return tell({"done"});
  Changer changer(engine, order);
  changer.look();
  if (!isOpened) order.arm();
  if (order.job == "saveImage" || order.job == "begin") changer.save(kChangerImages.front(), "");
  if (order.job == "saveVideo") changer.save(kChangerVideo, "");
  if (order.job == "saveMotionPhoto") changer.saveMotionPhoto();
  if (order.job == "saveIntoAlbum") {
    changer.save(kChangerImages.front(), changer.firstAlbum());
  }
  if (order.job == "createAlbum") changer.createAlbum("An album");
  if (order.job == "deleteAssets") changer.remove(2);
  if (order.job == "list") changer.listAgain();
}

void mix(const Order& order) {
  Engine engine(order.library, order.temporary());
  if (!engine) return;
  tell({"open"});
  Changer changer(engine, order);
  if (order.ownsAll()) changer.look();
  while (!isToEnd()) changer.changeSomething();
}

// A library with something in all of its parts.
void prepare(const Order& order) {
  Engine engine(order.library, order.temporary());
  if (!engine) return;
  Changer changer(engine, order);
  changer.createAlbum("First");
  for (const ChangerMedia& image : kChangerImages) changer.save(image, changer.firstAlbum());
  for (const ChangerMedia& image : kChangerImages) changer.save(image, "");
  changer.save(kChangerVideo, "");
  changer.remove(3);
}

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  using namespace quorvin;
  if (argc != 5 && argc != 9) return EXIT_FAILURE;
  Order order{argv[1], argv[2], argv[3], static_cast<unsigned>(std::stoul(argv[4])), {}};
  if (argc == 9) {
    order.fault = Fault{.calls = argv[5],
                        .number = std::stoi(argv[6]),
                        .kind = static_cast<Fault::Kind>(std::stoi(argv[7])),
                        .errorNumber = std::stoi(argv[8])};
  }
  if (order.job.starts_with("mix")) {
    mix(order);
  } else if (order.job == "prepare") {
    prepare(order);
  } else if (!doWithout(order)) {
    changeOnce(order);
  }
  tell({"end", wasFaultReached() ? "reached" : "not reached"});
  return EXIT_SUCCESS;
}
