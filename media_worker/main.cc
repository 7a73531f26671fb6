// The media worker: parses, renders and encodes media files for another process.

#include <csignal>

#include "media_protocol/wire.h"
#include "media_worker/libraries.h"
#include "media_worker/limits.h"
#include "media_worker/serve.h"

int main() {
  // A file that may not grow any more is an error of its export, and not the end of the worker.
  std::signal(SIGXFSZ, SIG_IGN);
  quorvin::limitMemory();
  quorvin::startLibraries();
  quorvin::serve(quorvin::kWorkerSocketDescriptor);
}
