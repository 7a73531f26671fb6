#include "platform_linux/library/import/import_search.h"

#include <string>
#include <utility>

namespace quorvin {

std::vector<FoundFile> searchFor(const ImportOptions& options, const LibraryFolder& library,
                                 ImportObserver& observer, ImportSummary& summary,
                                 const std::function<void(std::vector<FoundFile>&)>& prepare) {
  std::vector<std::pair<std::string, std::string>> unreadable;
  const SearchListener listener{
      .problem = [&unreadable](const std::string& path,
                               const std::string& why) { unreadable.emplace_back(path, why); },
      .passedOver =
          [&](const std::string& path) {
            ++summary.passedOverFiles;
            observer.passedOver(path);
          },
      .found = [&observer](std::size_t files) { observer.searching(files); },
      .stop = options.stop};
  std::vector<FoundFile> found = findFiles(options.paths, library, listener);
  prepare(found);
  observer.filesFound(found.size());
  for (const auto& [path, reason] : unreadable) {
    ++summary.refusedFiles;
    observer.problem(path, reason);
  }
  return found;
}

}  // namespace quorvin
