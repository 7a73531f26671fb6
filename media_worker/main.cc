// The media worker: parses, renders and encodes media files for another process.

#include <sys/prctl.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string_view>

#include "media_protocol/wire.h"
#include "media_worker/libraries.h"
#include "media_worker/limits.h"
#include "media_worker/sandbox/sandbox.h"
#include "media_worker/serve.h"

int main(int count, char** arguments) {
  bool forExports = false;
  std::int64_t memory = 0;
  for (const std::string_view each : std::span(arguments, static_cast<std::size_t>(count))) {
    if (each == quorvin::kForExports) forExports = true;
    // What is no number says nothing.
    std::from_chars(each.data(), each.data() + each.size(), memory);
  }
  // It has nothing to do without the process that started it; had that ended before, the socket
  // would tell.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  // A file that may not grow any more is an error of its export, and not the end of the worker.
  std::signal(SIGXFSZ, SIG_IGN);
  // Nothing is looked for in the folder where somebody started the host.
  if (::chdir("/") != 0) return EXIT_FAILURE;
  quorvin::limitProcess(memory);
  if (forExports) quorvin::giveWay();
  quorvin::startLibraries();
  quorvin::loadForLater(forExports);
  const auto isolation = quorvin::enterSandbox();
  quorvin::serve(quorvin::kWorkerSocketDescriptor, isolation);
}
