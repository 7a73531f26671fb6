// What is linked with this has the media libraries ready, as a worker has before its first file.
#include "media_worker/libraries.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  quorvin::startLibraries();
  return 0;
}
