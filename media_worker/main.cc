// The media worker: parses, renders and encodes media files for another process.

#include "media_worker/libraries.h"
#include "media_worker/limits.h"
#include "media_worker/serve.h"
#include "platform_linux/media/worker_protocol.h"

int main() {
  quorvin::limitMemory();
  quorvin::startLibraries();
  quorvin::serve(quorvin::kWorkerSocketDescriptor);
}
