// quorvin export: assets out of the library, as ordinary files.
#include <cstdio>

#include "host/locations.h"
#include "platform_linux/library/export/exporter.h"
#include "platform_linux/media/media_worker_pool.h"
#include "tool/commands.h"
#include "tool/interruption.h"
#include "tool/progress_bar.h"
#include "tool/readable.h"
#include "tool/text.h"

namespace quorvin {
namespace {

ExportParts partsOf(const ExportCommand& command) {
  if (command.original) return ExportParts::original;
  return command.current ? ExportParts::current : ExportParts::all;
}

}  // namespace

int ExportCommand::run() const {
  const Interruption interruption;
  MediaWorkerPool media({.program = mediaWorkerProgram(), .size = 1});
  const auto report = [&] {
    OriginalsBar bar("Exporting");
    ExportOptions options{.album = album, .parts = partsOf(*this)};
    if (layout == "album") options.layout = ExportOptions::Layout::album;
    options.assetsFound = [&bar](std::size_t total) { bar.begin(total); };
    options.assetDone = [&bar] { bar.step(); };
    options.stop = interruption.token();
    return exportLibrary(library, media, target, options);
  }();
  if (!report) {
    complain(report.error().sentence());
    return kFailure;
  }
  for (const std::string& problem : report->problems) complain(problem);
  if (report->ended)
    complain("the export ended early: " + *report->ended + " Run it again, and it goes on.");
  std::printf("Exported %s in %s: %s new, %s.\n",
              counted(report->assets, "asset", "assets").c_str(),
              counted(report->files, "file", "files").c_str(), grouped(report->newFiles).c_str(),
              readableSize(report->bytes).c_str());
  return report->problems.empty() && !report->ended ? kSuccess : kFailure;
}

}  // namespace quorvin
