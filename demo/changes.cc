#include "demo/changes.h"

#include <optional>
#include <string>

#include "demo/printing.h"

namespace quorvin {
namespace {

/// The saved asset's record; nothing when there is no file to save.
Value save(Calls& calls, const char* method, const std::optional<std::string>& file,
           const std::string& album) {
  if (!file) return {};
  Value record = calls.result(method, Map{{"filePath", *file}, {"collectionId", album}}, is<Map>);
  if (!record.isNull()) printAssets({record});
  return record;
}

}  // namespace

void showChanges(Calls& calls, const ExportedFiles& files) {
  printHeadline("Changes of the library, and the events that tell of them");
  calls.listen();
  const Value album = calls.result("createAlbum", Map{{"title", "Made by the demo"}}, is<Map>);
  if (album.isNull()) return;
  printGalleries({album});
  const std::string albumId = textAt(album, "id");

  List saved;
  for (const Value& record : {save(calls, "saveImage", files.image, albumId),
                              save(calls, "saveVideo", files.video, albumId)}) {
    if (!record.isNull()) saved.push_back(textAt(record, "id"));
  }
  const Value page = calls.result(
      "getAssetList",
      Map{{"collectionId", albumId}, {"start", 0}, {"end", 10}, {"sort", 0}, {"mediaType", 0}},
      isListOf("isLivePhoto"));
  if (!page.isNull()) printAssets(*page.as<List>());
  if (page.isNull() || page.as<List>()->size() != saved.size()) {
    calls.fail("the album does not hold what was saved into it");
  }
  // Told before they go again: what comes and goes within one event is in none of its lists.
  if (!saved.empty()) calls.showEventsUntil("inserted", saved.back());
  calls.show("deleteAssets", Map{{"assetIds", saved}}, isTrue);
  if (!saved.empty()) calls.showEventsUntil("removed", saved.back());
}

}  // namespace quorvin
