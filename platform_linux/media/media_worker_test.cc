// The pool together with the media worker program that it is made for.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "media_protocol/sealed_memory.h"
#include "platform_linux/media/media_worker_pool.h"
#include "testing/platform/testing_processes.h"

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
  EXPECT_TRUE(bytes) << bytes.error().sentence();
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
  ASSERT_TRUE(probe) << probe.error().sentence();
  EXPECT_EQ(probe->kind, MediaKind::image);
  EXPECT_EQ(probe->uniformTypeIdentifier, "public.jpeg");
  EXPECT_EQ(probe->extension, "jpg");
  EXPECT_EQ(probe->pixelWidth, kWidth);
  EXPECT_EQ(probe->pixelHeight, kHeight);
  const auto image = pool.render(file, toFit(300));
  ASSERT_TRUE(image) << image.error().sentence();
  EXPECT_EQ((*image)->width(), 300);
  EXPECT_EQ((*image)->height(), 200);
}

TEST(MediaWorker, KeepsEveryPixelThroughAPng) {
  MediaWorkerPool pool(options());
  RenderRequest original;
  original.fit = RenderRequest::Fit::original;
  const auto image = pool.render(photo(pool, ImageFormat::png), original);
  ASSERT_TRUE(image) << image.error().sentence();
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
  EXPECT_FALSE(probe.error().sentence().empty());
}

/// Some seconds of a moving picture and a tone, made by the ffmpeg program.
FileDescriptor film(int seconds) {
  const std::string name =
      testing::TempDir() + "quorvin-film-" + std::to_string(::getpid()) + ".mov";
  const std::string command =
      "ffmpeg -nostdin -v error -y -f lavfi -i testsrc2=s=640x360:r=30 -f lavfi -i sine -t " +
      std::to_string(seconds) + " -c:v libx264 -preset ultrafast -pix_fmt yuv420p -c:a aac " + name;
  EXPECT_EQ(std::system(command.c_str()), 0);
  FileDescriptor file(::open(name.c_str(), O_RDONLY | O_CLOEXEC));
  ::unlink(name.c_str());
  return file;
}

Done exportTo(MediaWorkerPool& pool, const FileDescriptor& source, const FileDescriptor& output,
              VideoPreset preset, std::stop_token stop = {}) {
  return pool.exportVideo(source, output, {preset, VideoContainer::mpeg4, true, {}},
                          std::move(stop));
}

TEST(MediaWorker, ExportsVideosThroughThePool) {
  MediaWorkerPool pool(options());
  const FileDescriptor source = film(2);
  for (const VideoPreset preset :
       {VideoPreset::passthrough, VideoPreset::highestQuality, VideoPreset::mediumQuality}) {
    const auto containers = pool.exportContainers(source, preset);
    ASSERT_TRUE(containers) << containers.error().sentence();
    EXPECT_EQ(containers->size(), 2U);
    const FileDescriptor output = makeMemoryFile(0);
    const auto exported = exportTo(pool, source, output, preset);
    ASSERT_TRUE(exported) << exported.error().sentence();
    const auto probe = pool.probe(output, "film.mp4");
    ASSERT_TRUE(probe) << probe.error().sentence();
    EXPECT_NEAR(probe->duration, 2, 0.01);
    EXPECT_EQ(probe->pixelWidth, preset == VideoPreset::mediumQuality ? 568 : 640);
  }
}

/// Waits until the export has written something.
void waitForOutput(const FileDescriptor& output) {
  struct stat status {};
  while (::fstat(output.get(), &status) == 0 && status.st_size == 0) std::this_thread::yield();
}

TEST(MediaWorker, MayBeKilledInTheMiddleOfAnExport) {
  const std::size_t before = openDescriptors();
  {
    MediaWorkerPool pool(options());
    const FileDescriptor source = film(20);
    const FileDescriptor output = makeMemoryFile(0);
    std::thread exporter([&] {
      const auto exported = exportTo(pool, source, output, VideoPreset::highestQuality);
      ASSERT_FALSE(exported);
      EXPECT_EQ(exported.error().sentence(), "The media worker ended unexpectedly.");
    });
    waitForOutput(output);
    killAndWait(children().front());
    exporter.join();
    EXPECT_TRUE(exportTo(pool, source, makeMemoryFile(0), VideoPreset::passthrough));
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST(MediaWorker, StopsInTheMiddleOfAnExport) {
  MediaWorkerPool pool(options());
  const FileDescriptor source = film(20);
  const FileDescriptor output = makeMemoryFile(0);
  std::stop_source stop;
  std::thread exporter([&] {
    const auto exported =
        exportTo(pool, source, output, VideoPreset::highestQuality, stop.get_token());
    ASSERT_FALSE(exported);
    EXPECT_EQ(exported.error().sentence(), "The export was cancelled.");
  });
  waitForOutput(output);
  stop.request_stop();
  exporter.join();
  EXPECT_TRUE(children().empty());
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
              << image.error().sentence();
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
