// quorvin import: files and folders into the library.
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>

#include "platform_linux/library/import/importer.h"
#include "platform_linux/library/import/rehearsal.h"
#include "tool/commands.h"
#include "tool/import_report.h"
#include "tool/interruption.h"
#include "tool/media_workers.h"

namespace quorvin {

int ImportCommand::run() const {
  // Nobody who stops listening, to the bar or to the problems, ends the import.
  const auto atBrokenPipe = std::signal(SIGPIPE, SIG_IGN);
  const Interruption interruption;
  MediaWorkers workers;
  using Kind = ImportReport::Kind;
  ImportReport report(dryRun ? (json ? Kind::jsonRehearsal : Kind::rehearsal)
                             : (json ? Kind::json : Kind::plain));
  const ImportOptions options{paths, album, workers.count(), interruption.token(),
                              foldersAreAlbums};
  const auto begin = std::chrono::steady_clock::now();
  const auto summary =
      (dryRun ? rehearseImport : importIntoLibrary)(library, workers.media(), options, report);
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
  report.end();
  std::signal(SIGPIPE, atBrokenPipe);
  if (!summary) {
    report.printError(summary.error().sentence());
    return kFailure;
  }
  report.print(*summary, time.count());
  // What is not made now comes later, so that its failures are no failures of the import.
  if (summary->addedAssets > 0 && !summary->wasStopped) {
    std::fflush(stdout);
    makeMissingPreviews(library, workers.media(), summary->addedAssets, interruption.token());
  }
  if (summary->wasStopped && !dryRun) {
    complain("The import was interrupted; the same command goes on where it stopped.");
  } else if (interruption.hasCome()) {
    complain(dryRun ? "The look at the files was interrupted."
                    : "Everything came in; the previews that are missing come later.");
  }
  return summary->refusedFiles == 0 && !interruption.hasCome() ? kSuccess : kFailure;
}

}  // namespace quorvin
