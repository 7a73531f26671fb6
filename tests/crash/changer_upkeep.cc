#include "tests/crash/changer_upkeep.h"

#include <utility>

#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/library_lock.h"
#include "platform_linux/library/import/importer.h"
#include "platform_linux/library/opening/opening.h"
#include "platform_linux/library/snapshots/snapshot.h"
#include "platform_linux/library/upkeep/backup.h"
#include "platform_linux/library/upkeep/check.h"
#include "platform_linux/library/upkeep/trash.h"
#include "tests/crash/changer_engine.h"

namespace quorvin {
namespace {

class Refusals final : public ImportObserver {
 public:
  void filesFound(std::size_t) override {}
  void fileDone(const ImportedFile&) override {}
  void problem(const std::string& path, const std::string& reason) override {
    text += path + ": " + reason + " ";
  }
  std::string text;
};

template <class Outcome>
void tellOf(const Outcome& outcome) {
  if (outcome) {
    tell({"done"});
  } else {
    tell({"error", outcome.error().sentence()});
  }
}

}  // namespace

void importFiles(const std::string& library, MediaService& media, const std::string& folder,
                 const std::vector<std::string>& names) {
  ImportOptions options;
  options.filesAtOnce = 2;
  for (const std::string& name : names) options.paths.push_back(folder + "/" + name);
  Refusals refusals;
  const auto summary = importIntoLibrary(library, media, options, refusals);
  if (summary && summary->addedFiles != names.size()) {
    tell({"error", "only " + std::to_string(summary->addedFiles) + " of " +
                       std::to_string(names.size()) + " files came in. " + refusals.text});
  } else {
    tellOf(summary);
  }
}

void makeOneSnapshot(const std::string& library) {
  const auto catalogue = openCatalogue(library, MissingLibrary::refuse);
  if (!catalogue) return tell({"error", catalogue.error().sentence()});
  Catalogue::Reader database = (*catalogue)->reader();
  if (!database) return tell({"error", database.error().sentence()});
  const LibraryFolder& folder = (*catalogue)->folder();
  const auto made = makeSnapshot(folder, *database);
  if (made) {
    tell({"done", snapshotsOf(folder).front()});
  } else if (LibraryLock::isHeld(made.error())) {
    tell({"declined"});
  } else {
    tell({"error", made.error().sentence()});
  }
}

void backUp(const std::string& library, bool mayLink) {
  BackupOptions options;
  options.mayLink = mayLink;
  const auto report = backUpLibrary(library, library + "-backup", options);
  if (report && !report->problems.empty()) return tell({"error", report->problems.front()});
  tellOf(report);
}

void checkAll(const std::string& library) {
  const auto report = checkLibrary(library, {.content = true});
  if (report && !report->findings.empty()) {
    return tell({"error", report->findings.front().sentence});
  }
  tellOf(report);
}

void repair(const std::string& library, bool mustBeSound) {
  CheckOptions options;
  options.repair = true;
  const auto report = checkLibrary(library, options);
  if (report && mustBeSound && !report->findings.empty()) {
    return tell({"error", report->findings.front().sentence});
  }
  tellOf(report);
}

void emptyWholeTrash(const std::string& library) {
  tellOf(emptyTrash(library));
}

void restoreAll(const std::string& library, const std::vector<std::string>& identifiers) {
  tellOf(restoreFromTrash(library, identifiers));
}

}  // namespace quorvin
