// The pool together with the media worker program that it is made for.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <thread>
#include <vector>

#include "platform_linux/media/media_worker_pool.h"
#include "platform_linux/media/sealed_memory.h"
#include "platform_linux/media/testing_processes.h"

namespace quorvin {
namespace {

constexpr std::int64_t kWidth = 1200;
constexpr std::int64_t kHeight = 800;

MediaWorkerOptions options() {
  const char* program = std::getenv("QUORVIN_MEDIA_WORKER");
  return {.program = program != nullptr ? program : QUORVIN_MEDIA_WORKER_PROGRAM, .size = 3};
}

FileDescriptor fileOf(std::span<const std::uint8_t> bytes) {
  FileDescriptor file = makeMemoryFile(bytes.size());
  EXPECT_EQ(::pwrite(file.get(), bytes.data(), bytes.size(), 0),
            static_cast<ssize_t>(bytes.size()));
  EXPECT_TRUE(sealMemoryFile(file));
  return file;
}

RenderedImage gradient() {
  std::vector<std::uint8_t> pixels(static_cast<std::size_t>(kWidth * kHeight * 3));
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] = static_cast<std::uint8_t>(i * 7 % 251);
  }
  return {fileOf(pixels), kWidth, kHeight, 3};
}

FileDescriptor photo(MediaWorkerPool& pool, ImageFormat format) {
  const auto bytes = pool.encode(gradient(), format, 0.9);
  EXPECT_TRUE(bytes) << bytes.error().localizedDescription;
  return fileOf(bytes ? bytes->bytes() : std::span<const std::uint8_t>());
}

RenderRequest toFit(double side) {
  RenderRequest request;
  request.targetWidth = side;
  request.targetHeight = side;
  return request;
}

TEST(MediaWorker, EncodesProbesAndRendersThroughThePool) {
  MediaWorkerPool pool(options());
  const FileDescriptor file = photo(pool, ImageFormat::jpeg);
  const auto probe = pool.probe(file, "IMG_1.JPG");
  ASSERT_TRUE(probe) << probe.error().localizedDescription;
  EXPECT_EQ(probe->kind, MediaKind::image);
  EXPECT_EQ(probe->uniformTypeIdentifier, "public.jpeg");
  EXPECT_EQ(probe->extension, "jpg");
  EXPECT_EQ(probe->pixelWidth, kWidth);
  EXPECT_EQ(probe->pixelHeight, kHeight);
  const auto image = pool.render(file, toFit(300));
  ASSERT_TRUE(image) << image.error().localizedDescription;
  EXPECT_EQ((*image)->width(), 300);
  EXPECT_EQ((*image)->height(), 200);
}

TEST(MediaWorker, KeepsEveryPixelThroughAPng) {
  MediaWorkerPool pool(options());
  RenderRequest original;
  original.fit = RenderRequest::Fit::original;
  const auto image = pool.render(photo(pool, ImageFormat::png), original);
  ASSERT_TRUE(image) << image.error().localizedDescription;
  const std::size_t size = static_cast<std::size_t>(kWidth * kHeight * 3);
  const MappedMemory kept((*image)->fd(), size, MappedMemory::Access::read);
  const MappedMemory made(gradient().fd(), size, MappedMemory::Access::read);
  ASSERT_TRUE(kept && made);
  EXPECT_TRUE(std::ranges::equal(kept.bytes(), made.bytes()));
}

TEST(MediaWorker, SaysWhyAFileIsNone) {
  MediaWorkerPool pool(options());
  const std::vector<std::uint8_t> text(100, 'a');
  const auto probe = pool.probe(fileOf(text), "IMG_1.JPG");
  ASSERT_FALSE(probe);
  EXPECT_EQ(probe.error().code, static_cast<std::int64_t>(LibraryErrorCode::invalidResource));
  EXPECT_FALSE(probe.error().localizedDescription.empty());
}

/// A hundred renderings by four threads; one answer in so many has a worker that lives signalled.
void renderThroughSignals(MediaWorkerPool& pool, const FileDescriptor& file, int signal,
                          int oneIn) {
  std::atomic<int> answers = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&pool, &file, &answers, signal, oneIn] {
      for (int j = 0; j < 25; ++j) {
        const auto image = pool.render(file, toFit(256));
        if (!image) {
          EXPECT_EQ(image.error().code,
                    static_cast<std::int64_t>(LibraryErrorCode::operationInterrupted))
              << image.error().localizedDescription;
        }
        if (++answers % oneIn != 0) continue;
        const std::vector<pid_t> workers = children();
        if (!workers.empty()) ::kill(workers.back(), signal);
      }
    });
  }
  for (auto& each : threads) each.join();
  EXPECT_EQ(answers, 100);
}

TEST(MediaWorker, MayBeKilledOrStoppedInTheMiddleOfAnything) {
  const std::size_t before = openDescriptors();
  {
    MediaWorkerPool patient(options());
    const FileDescriptor file = photo(patient, ImageFormat::jpeg);
    renderThroughSignals(patient, file, SIGKILL, 5);
    for (const pid_t each : children()) killAndWait(each);
    EXPECT_TRUE(patient.render(file, toFit(256)));
    patient.shutDown();

    MediaWorkerOptions hasty = options();
    hasty.requestTimeLimit = std::chrono::seconds(2);
    MediaWorkerPool pool(hasty);
    renderThroughSignals(pool, file, SIGSTOP, 25);
    for (const pid_t each : children()) killAndWait(each);
    EXPECT_TRUE(pool.render(file, toFit(256)));
  }
  EXPECT_TRUE(children().empty());
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace quorvin
