// Words that libraries print when they meet a damaged file.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "media_worker/reading/coded_picture.h"
#include "platform_linux/media/media_worker_pool.h"
#include "testing/media/media_bytes.h"

namespace quorvin {
namespace {

/// What is written to this process's error output while the work is done, by whomever.
template <class Work>
std::string wordsOf(const Work& work) {
  testing::internal::CaptureStderr();
  work();
  return testing::internal::GetCapturedStderr();
}

/// A picture over whose damage a library of this system complains, and what it says.
struct Complaint {
  FileDescriptor picture;
  std::string words;
};

Complaint complaint() {
  const Bytes whole = ffmpegOutput("-f lavfi -i testsrc2=s=320x240 -frames:v 1", "jxl");
  Complaint found;
  for (std::size_t at = whole.size() / 4; at < whole.size() && found.words.empty(); at += 97) {
    Bytes damaged = whole;
    damaged[at] ^= 0xff;
    found.picture = fileOf(damaged);
    const auto input = InputFile::open(found.picture.get());
    found.words = wordsOf([&input] { decodeCodedPicture(*input, PictureFormat::jpegXl); });
  }
  return found;
}

TEST(Silence, IsKeptInTheHostWhateverAFileMakesALibrarySay) {
  const auto [picture, words] = complaint();
  if (words.empty()) GTEST_SKIP() << "this system's libraries say nothing by themselves";
  const char* program = std::getenv("QUORVIN_MEDIA_WORKER");
  MediaWorkerPool pool(
      {.program = program != nullptr ? program : QUORVIN_MEDIA_WORKER_PROGRAM, .size = 1});
  const RenderRequest request{.targetWidth = 64, .targetHeight = 64};
  EXPECT_EQ(wordsOf([&, &picture = picture, &words = words] {
              // More words than a pipe holds.
              for (std::size_t said = 0; said < (1 << 17); said += words.size()) {
                pool.probe(picture, "picture.jxl");
                pool.render(picture, request);
              }
            }),
            "");
}

}  // namespace
}  // namespace quorvin
