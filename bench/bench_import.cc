#include "bench/bench_import.h"

#include <cstdio>
#include <cstdlib>

#include "bench/bench_engine.h"
#include "host/locations.h"
#include "platform_linux/library/import/importer.h"
#include "platform_linux/media/media_worker_pool.h"

namespace quorvin {
namespace {

class Problems : public ImportObserver {
 public:
  void filesFound(std::size_t) override {}
  void fileDone(const std::string&) override {}
  void problem(const std::string& path, const std::string& reason) override {
    std::fprintf(stderr, "%s: %s\n", path.c_str(), reason.c_str());
  }
};

}  // namespace

std::string importAlone(const std::string& file, const std::string& library) {
  MediaWorkerPool media({.program = mediaWorkerProgram(), .size = 1});
  Problems problems;
  const auto summary = importIntoLibrary(library, media, {{file}, "Alone"}, problems);
  if (!summary || summary->addedAssets != 1) {
    std::fprintf(stderr, "%s cannot be imported\n", file.c_str());
    std::exit(EXIT_FAILURE);
  }
  BenchEngine engine(library);
  const Value galleries = engine.call("getGalleryList", Map{{"withAllPhotos", true},
                                                            {"filterEmptyAsset", false},
                                                            {"withSmartAlbum", false},
                                                            {"mediaType", 0}});
  // Albums are listed last.
  const Map& gallery = *galleries.as<List>()->back().as<Map>();
  const Value first =
      engine.call("getGalleryFirstAssetId",
                  Map{{"collectionId", *find(gallery, "id")}, {"sort", 0}, {"mediaType", 0}});
  return std::string(first.text());
}

}  // namespace quorvin
