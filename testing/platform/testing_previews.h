// A library of pictures that the media worker made, and its previews.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media_protocol/sealed_memory.h"
#include "platform_linux/library/fetch/library.h"
#include "platform_linux/library/import/importer.h"
#include "platform_linux/library/originals/original_file.h"
#include "platform_linux/library/previews/preview_store.h"
#include "platform_linux/media/media_worker_pool.h"
#include "platform_linux/previews/all_previews.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {

/// Waves of light, colour and, in the fourth channel, of transparency, so that a picture in a wrong
/// place shows.
inline RenderedImage wavesOf(PixelSize size, int channels = 3) {
  const auto count = static_cast<std::size_t>(size.width * size.height);
  std::vector<std::uint8_t> pixels(count * static_cast<std::size_t>(channels));
  std::size_t at = 0;
  for (std::int64_t y = 0; y < size.height; ++y) {
    for (std::int64_t x = 0; x < size.width; ++x) {
      for (int c = 0; c < channels; ++c) {
        const std::int64_t wave = (x * (c + 1) + y * 2) / 4 % 512;
        pixels[at++] = static_cast<std::uint8_t>(wave < 256 ? wave : 511 - wave);
      }
    }
  }
  return {sealedMemoryOf(pixels), size.width, size.height, channels};
}

class PreviewsFixture : public testing::Test {
 protected:
  class Listener final : public ImportObserver, public PreviewObserver {
   public:
    void filesFound(std::size_t) override {}
    void fileDone(const ImportedFile&) override {}
    void problem(const std::string& path, const std::string& reason) override {
      ADD_FAILURE() << path << ": " << reason;
    }
    void picturesFound(std::size_t total) override { found = total; }
    void pictureDone() override { ++done; }
    std::size_t found = 0;
    std::size_t done = 0;
  };

  std::string path() const { return folder_ / "library"; }
  std::string storePath() const { return path() + "/derivatives/previews.sqlite"; }
  static std::string worker() { return std::getenv("QUORVIN_MEDIA_WORKER"); }

  /// Imports a picture of that size; the path of its original, relative to the library.
  std::string import(PixelSize size, ImageFormat format = ImageFormat::jpeg, int channels = 3,
                     std::size_t bytesKept = SIZE_MAX) {
    const auto bytes = pool_.encode(wavesOf(size, channels), format, 0.95);
    EXPECT_TRUE(bytes) << bytes.error().sentence();
    const std::string name =
        std::to_string(++pictures_) + (format == ImageFormat::jpeg ? ".jpg" : ".png");
    const auto* text = reinterpret_cast<const char*>(bytes->data());
    writeFile(folder_ / name, std::string(text, std::min(bytesKept, bytes->size())));
    const auto before = originals();
    Listener listener;
    EXPECT_TRUE(importIntoLibrary(path(), pool_, {{folder_ / name}, std::nullopt}, listener));
    for (const std::string& each : originals()) {
      if (std::ranges::find(before, each) == before.end()) return each;
    }
    ADD_FAILURE() << name << " was not imported";
    return "";
  }

  std::vector<std::string> originals() const {
    const auto folder = libraryFolderAt(path());
    if (!folder || folder->held == nullptr) return {};
    return filesBelow(*folder, LibraryFolder::kOriginals);
  }

  AllPreviews makeAll() {
    const auto made = makeAllPreviews(path(), pool_, 2, listener_);
    EXPECT_TRUE(made) << made.error().sentence();
    return made ? *made : AllPreviews();
  }

  std::unique_ptr<PreviewStore> store() const {
    return std::make_unique<PreviewStore>(*libraryFolderAt(path()));
  }
  OriginalState stateOf(const std::string& original) const {
    const FileDescriptor file = originalFile(*libraryFolderAt(path()), original).open();
    return *OriginalState::of(original, file);
  }
  /// The size of the preview's pixels; none where there is no preview.
  std::optional<PixelSize> sizeOf(const std::string& original, const PreviewSide& side) {
    const auto preview = store()->find(stateOf(original), side);
    if (!preview) return std::nullopt;
    RenderRequest request;
    request.fit = RenderRequest::Fit::original;
    const auto image = pool_.render(sealedMemoryOf(preview->jpeg.bytes()), request);
    EXPECT_TRUE(image);
    return PixelSize{(*image)->width(), (*image)->height()};
  }

  TemporaryFolder folder_;
  MediaWorkerPool pool_{{.program = worker()}};
  Listener listener_;
  int pictures_ = 0;
};

}  // namespace quorvin
