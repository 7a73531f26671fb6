// quorvin backup: a second library that holds what this one does.
#include "platform_linux/library/upkeep/backup.h"

#include <csignal>
#include <cstdio>
#include <optional>

#include "tool/commands.h"
#include "tool/progress_bar.h"
#include "tool/readable.h"
#include "tool/text.h"

namespace quorvin {

int BackupCommand::run() const {
  // Nobody who stops listening to the bar ends the backup.
  const auto atBrokenPipe = std::signal(SIGPIPE, SIG_IGN);
  std::optional<ProgressBar> bar;
  const auto report = backUpLibrary(
      library, target,
      {.mayLink = !copy,
       .originalsFound = [&bar](std::size_t total) { bar.emplace(total, "Backing up"); },
       .originalDone = [&bar] { bar->step(); }});
  bar.reset();
  std::signal(SIGPIPE, atBrokenPipe);
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
