// Changes a library by the C interface and tells of it, line by line, to whoever started it: what
// it is about to do, and what was answered.
//
// crash_changer LIBRARY MEDIA JOB SEED [CALLS NUMBER KIND ERROR]
//
// Standard output is a socket. The job "mix" makes changes of all kinds in random order until the
// other end is shut down. The other jobs do one thing, the last four words saying which of its
// calls to the system goes wrong.
#include <quorvin/quorvin.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "codec/standard_method_codec.h"
#include "platform_linux/library/upkeep/trash.h"
#include "testing/engine/answer.h"
#include "tests/crash/changer_media.h"
#include "tests/crash/faulty_files.h"
#include "tests/crash/file_record.h"

namespace quorvin {
namespace {

constexpr int kJournal = 1;

void tell(std::vector<std::string> words) {
  std::string line;
  for (const std::string& word : words) line += (line.empty() ? "" : "\t") + word;
  line += "\n";
  // Not `write`, which may be made to fail.
  ::send(kJournal, line.data(), line.size(), MSG_NOSIGNAL);
  if (words.front() == "done") recordAnswer();
}

bool isToEnd() {
  char byte = 0;
  return ::recv(kJournal, &byte, 1, MSG_DONTWAIT) == 0;
}

class Engine {
 public:
  Engine(const std::string& library, const std::string& temporary) {
    QuorvinOptions options{};
    options.struct_size = sizeof options;
    options.library_path = library.c_str();
    options.temporary_path = temporary.c_str();
    options.authorization = 3;
    char* error = nullptr;
    engine_.reset(quorvin_engine_create(&options, &error));
    if (engine_ == nullptr) tell({"error", error == nullptr ? "no reason" : error});
    quorvin_free(error);
  }

  explicit operator bool() const { return engine_ != nullptr; }

  /// None, and a line about it, when the reply is an error.
  std::optional<Value> call(const std::string& method, Value arguments) {
    Answer answer;
    const auto message = encodeMethodCall({method, std::move(arguments)});
    quorvin_engine_send(engine_.get(), "quorvin", message.data(), message.size(), Answer::record,
                        &answer);
    while (answer.count == 0) quorvin_engine_run(engine_.get(), -1);
    auto envelope = decodeEnvelope(answer.message);
    if (envelope && std::holds_alternative<Value>(*envelope)) {
      return std::get<Value>(*std::move(envelope));
    }
    std::string text = "no reply";
    if (envelope) {
      const auto& error = std::get<FlutterError>(*envelope);
      text = error.message + " " + std::string(error.details.text());
    }
    std::replace(text.begin(), text.end(), '\n', ' ');
    tell({"error", text});
    return std::nullopt;
  }

 private:
  struct End {
    void operator()(QuorvinEngine* engine) const { quorvin_engine_destroy(engine); }
  };
  std::unique_ptr<QuorvinEngine, End> engine_;
};

std::string textAt(const Value& map, std::string_view key) {
  const Value* value = map.as<Map>() == nullptr ? nullptr : find(*map.as<Map>(), key);
  return value == nullptr ? "" : std::string(value->text());
}

class Changer {
 public:
  Changer(Engine& engine, std::string media, unsigned seed)
      : engine_(engine), media_(std::move(media)), random_(seed) {}

  /// Learns what is there, so that it is changed too.
  void look() {
    const auto galleries = engine_.call("getGalleryList", Map{{"withAllPhotos", true},
                                                              {"filterEmptyAsset", false},
                                                              {"withSmartAlbum", true},
                                                              {"mediaType", 0}});
    if (!galleries) return;
    for (const Value& gallery : *galleries->as<List>()) {
      if (textAt(gallery, "title") == "Recents") {
        list(textAt(gallery, "id"));
      } else if (textAt(gallery, "type") == "user") {
        albums_.push_back(textAt(gallery, "id"));
      }
    }
  }

  void save(const ChangerMedia& media, const std::string& album) {
    Map arguments{{"filePath", media_ + "/" + media.name}};
    if (!album.empty()) arguments.emplace_back("collectionId", album);
    tell({"save", media.name, album});
    const auto record = engine_.call(media.isVideo ? "saveVideo" : "saveImage", arguments);
    if (!record) return;
    const std::string identifier = textAt(*record, "id");
    assets_.push_back(identifier);
    if (media.isVideo) videos_.insert(identifier);
    tell({"done", identifier});
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
    if (choice < 30) return save(kChangerImages[upTo(kChangerImages.size() - 1)], "");
    if (choice < 36) return save(kChangerVideo, "");
    if (choice < 60) {
      return save(kChangerImages[upTo(kChangerImages.size() - 1)],
                  albums_.empty() ? "" : albums_[upTo(albums_.size() - 1)]);
    }
    if (choice < 72) return createAlbum("Album " + std::to_string(random_()));
    if (choice < 88) return remove(1 + upTo(2));
    exportOne();
  }

  const std::string& firstAlbum() const { return albums_.front(); }

 private:
  std::size_t upTo(std::size_t last) {
    return std::uniform_int_distribution<std::size_t>(0, last)(random_);
  }

  void list(const std::string& collection) {
    // Videos cannot be exported as images, and are only ever saved.
    const auto page = engine_.call("getAssetList", Map{{"collectionId", collection},
                                                       {"start", 0},
                                                       {"end", 10'000},
                                                       {"sort", 1},
                                                       {"mediaType", 1}});
    if (!page) return;
    for (const Value& record : *page->as<List>()) assets_.push_back(textAt(record, "id"));
  }

  Engine& engine_;
  const std::string media_;
  std::mt19937 random_;
  std::vector<std::string> assets_;
  std::set<std::string> videos_;  ///< among the assets
  std::vector<std::string> albums_;
};

struct Order {
  std::string library;
  std::string media;
  std::string job;
  unsigned seed = 0;
  std::optional<Fault> fault;

  std::string temporary() const { return library + "-temporary"; }
  void arm() const {
    if (fault) inject(library, *fault);
    const char* record = std::getenv("QUORVIN_CRASH_RECORD");
    if (record != nullptr) recordFiles(library, record);
  }
};

// Jobs without an engine.
bool tendTrash(const Order& order) {
  if (order.job != "emptyTrash" && order.job != "restore") return false;
  const auto trashed = listTrash(order.library);
  if (!trashed) std::exit(EXIT_FAILURE);
  order.arm();
  if (order.job == "emptyTrash") {
    const auto emptied = emptyTrash(order.library);
    tell({emptied ? "done" : "error", emptied ? "" : emptied.error().sentence()});
  } else {
    std::vector<std::string> identifiers;
    for (const TrashedAsset& asset : *trashed) identifiers.push_back(asset.localIdentifier);
    const auto restored = restoreFromTrash(order.library, identifiers);
    tell({restored ? "done" : "error", restored ? "" : restored.error().sentence()});
  }
  return true;
}

void changeOnce(const Order& order) {
  if (order.job == "open") {
    order.arm();
    if (Engine(order.library, order.temporary())) tell({"done"});
    return;
  }
  Engine engine(order.library, order.temporary());
  if (!engine) return;
  Changer changer(engine, order.media, order.seed);
  changer.look();
  order.arm();
  if (order.job == "saveImage") changer.save(kChangerImages.front(), "");
  if (order.job == "saveVideo") changer.save(kChangerVideo, "");
  if (order.job == "saveIntoAlbum") {
    changer.save(kChangerImages.front(), changer.firstAlbum());
  }
  if (order.job == "createAlbum") changer.createAlbum("An album");
  if (order.job == "deleteAssets") changer.remove(2);
}

void mix(const Order& order) {
  Engine engine(order.library, order.temporary());
  if (!engine) return;
  tell({"open"});
  Changer changer(engine, order.media, order.seed);
  if (order.job == "mix") changer.look();
  while (!isToEnd()) changer.changeSomething();
}

// A library with something in all of its parts.
void prepare(const Order& order) {
  Engine engine(order.library, order.temporary());
  if (!engine) return;
  Changer changer(engine, order.media, order.seed);
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
  } else if (!tendTrash(order)) {
    changeOnce(order);
  }
  tell({"end", wasFaultReached() ? "reached" : "not reached"});
  return EXIT_SUCCESS;
}
