// quorvin backup: a second library that holds what this one does.
#include "platform_linux/library/upkeep/backup.h"

#include <cstdio>

#include "tool/commands.h"
#include "tool/progress_bar.h"
#include "tool/readable.h"
#include "tool/text.h"

namespace quorvin {

int BackupCommand::run() const {
  const auto report = [this] {
    OriginalsBar bar("Backing up");
    return backUpLibrary(library, target,
                         {.mayLink = !copy,
                          .originalsFound = [&bar](std::size_t total) { bar.begin(total); },
                          .originalDone = [&bar] { bar.step(); }});
  }();
  if (!report) {
    complain(report.error().sentence());
    return kFailure;
  }
  for (const std::string& problem : report->problems) complain(problem);
  std::printf("Backed up %s with %s, %s: %s new.\n",
              counted(report->assets, "asset", "assets").c_str(),
              counted(report->originals, "original", "originals").c_str(),
              readableSize(report->bytes).c_str(), grouped(report->newOriginals).c_str());
  return report->problems.empty() ? kSuccess : kFailure;
}

}  // namespace quorvin
