// A pool of the testing worker, and what it is asked.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <string_view>

#include "media_protocol/sealed_memory.h"
#include "platform_linux/media/media_worker_pool.h"
#include "posix/file_descriptor.h"

namespace quorvin {

inline MediaWorkerOptions testingPoolOptions(std::size_t size = 2) {
  return {QUORVIN_TESTING_WORKER_PROGRAM, size, std::chrono::seconds(60), std::chrono::seconds(60),
          std::chrono::seconds(600)};
}

/// A file that holds what the testing worker is to do.
inline FileDescriptor asking(std::string_view text) {
  FileDescriptor file = makeMemoryFile(0);
  EXPECT_EQ(::write(file.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  return file;
}

inline constexpr std::int64_t kInterrupted =
    static_cast<std::int64_t>(LibraryErrorCode::operationInterrupted);

inline Result<MediaProbe> probe(MediaWorkerPool& pool, std::string_view text) {
  return pool.probe(asking(text), "a.jpg");
}

/// What the worker reports of itself; for "answer" its process id.
inline std::string report(MediaWorkerPool& pool, std::string_view text) {
  const auto result = probe(pool, text);
  EXPECT_TRUE(result) << result.error().reason;
  return result ? result->contentIdentifier : "";
}

inline Result<std::shared_ptr<const RenderedImage>> render(MediaWorkerPool& pool,
                                                           std::string_view text) {
  RenderRequest request;
  request.targetWidth = 4;
  request.targetHeight = 3;
  return pool.render(asking(text), request);
}

inline RenderedImage image(std::string_view text) {
  return {asking(text), 4, 3, 3};
}

inline Result<ByteBuffer> encode(MediaWorkerPool& pool, std::string_view text) {
  return pool.encode(image(text), ImageFormat::jpeg, 1);
}

inline void expectInterrupted(const Failure& error) {
  EXPECT_EQ(error.domain, FailureDomain::library);
  EXPECT_EQ(error.code, kInterrupted) << error.reason;
  EXPECT_FALSE(error.reason.empty());
}

}  // namespace quorvin
