// Makes a large library to look at and to measure.
//
// generate_library FOLDER [ASSETS [ALBUMS [LARGEST_ALBUM]]]
#include <cstdio>
#include <cstdlib>

#include "testing/library/generated_library.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "Usage: %s FOLDER [ASSETS [ALBUMS [LARGEST_ALBUM]]]\n", argv[0]);
    return 1;
  }
  quorvin::GeneratedLibrary wanted;
  if (argc > 2) wanted.assets = std::atoll(argv[2]);
  if (argc > 3) wanted.albums = std::atoll(argv[3]);
  wanted.largestAlbum = argc > 4 ? std::atoll(argv[4]) : wanted.assets / 10;
  const auto done = quorvin::generateLibrary(argv[1], wanted);
  if (done) return 0;
  std::fprintf(stderr, "%s\n", done.error().sentence().c_str());
  return 1;
}
