#include "bench/bench_import.h"

#include <cstdio>
#include <cstdlib>

#include "bench/bench_engine.h"
#include "host/locations.h"
#include "platform_linux/library/import/importer.h"
#include "platform_linux/media/media_worker_pool.h"
#include "platform_linux/previews/all_previews.h"

namespace quorvin {
namespace {

class Problems : public ImportObserver {
 public:
  void filesFound(std::size_t) override {}
  void fileDone(const ImportedFile&) override {}
  void problem(const std::string& path, const std::string& reason) override {
    std::fprintf(stderr, "%s: %s\n", path.c_str(), reason.c_str());
  }
};

}  // namespace

std::string importAlone(const std::string& file, const std::string& library) {
  const auto assets = importAll(file, library);
  if (assets.size() == 1) return assets.front();
  std::fprintf(stderr, "%s cannot be imported\n", file.c_str());
  std::exit(EXIT_FAILURE);
}

std::vector<std::string> importAll(const std::string& path, const std::string& library) {
  MediaWorkerPool media({.program = mediaWorkerProgram()});
  Problems problems;
  const auto summary = importIntoLibrary(library, media, {{path}, "Imported"}, problems);
  if (!summary || summary->addedAssets == 0) {
    std::fprintf(stderr, "%s cannot be imported\n", path.c_str());
    std::exit(EXIT_FAILURE);
  }
  BenchEngine engine(library);
  const Value galleries = engine.call("getGalleryList", Map{{"withAllPhotos", true},
                                                            {"filterEmptyAsset", false},
                                                            {"withSmartAlbum", false},
                                                            {"mediaType", 0}});
  // Albums are listed last.
  const Map& gallery = *galleries.as<List>()->back().as<Map>();
  const Value page =
      engine.call("getAssetList", Map{{"collectionId", *find(gallery, "id")},
                                      {"start", 0},
                                      {"end", static_cast<std::int64_t>(summary->addedAssets)},
                                      {"sort", 0},
                                      {"mediaType", 0}});
  std::vector<std::string> assets;
  for (const Value& each : *page.as<List>()) {
    assets.emplace_back(find(*each.as<Map>(), "id")->text());
  }
  return assets;
}

void makePreviewsOf(const std::string& library) {
  struct : PreviewObserver {
    void picturesFound(std::size_t) override {}
    void pictureDone() override {}
  } nobody;
  MediaWorkerPool media({.program = mediaWorkerProgram()});
  const auto made =
      makeAllPreviews(library, media, MediaWorkerOptions::sizeForThisMachine(), nobody);
  if (made && made->failed == 0) return;
  std::fprintf(stderr, "the previews of %s cannot be made\n", library.c_str());
  std::exit(EXIT_FAILURE);
}

}  // namespace quorvin
