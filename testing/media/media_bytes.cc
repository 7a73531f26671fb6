#include "testing/media/media_bytes.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "media_protocol/sealed_memory.h"

namespace quorvin {

Bytes concatenated(std::initializer_list<Bytes> parts) {
  Bytes result;
  for (const Bytes& part : parts) result.insert(result.end(), part.begin(), part.end());
  return result;
}

Bytes bytesOf(const std::string& text) {
  return {text.begin(), text.end()};
}

std::string repeated(const std::string& text, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

Bytes firstBytes(const Bytes& bytes, std::size_t count) {
  return {bytes.begin(),
          bytes.begin() + static_cast<std::ptrdiff_t>(std::min(count, bytes.size()))};
}

FileDescriptor fileOf(std::span<const std::uint8_t> bytes) {
  FileDescriptor file = makeMemoryFile(0);
  std::size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t n = ::write(file.get(), bytes.data() + written, bytes.size() - written);
    if (n <= 0) {
      ADD_FAILURE() << "cannot write a memory file";
      break;
    }
    written += static_cast<std::size_t>(n);
  }
  return file;
}

Bytes contents(const FileDescriptor& file) {
  Bytes bytes(static_cast<std::size_t>(std::max<off_t>(0, ::lseek(file.get(), 0, SEEK_END))));
  EXPECT_EQ(::pread(file.get(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
  return bytes;
}

FileDescriptor ffmpegFile(const std::string& arguments, const std::string& extension) {
  static int count = 0;
  const std::string name = testing::TempDir() + "quorvin-" + std::to_string(::getpid()) + "-" +
                           std::to_string(++count) + "." + extension;
  const std::string command = "ffmpeg -nostdin -v error -y " + arguments + " " + name;
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  FileDescriptor file(::open(name.c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_TRUE(file) << command;
  ::unlink(name.c_str());
  return file;
}

Bytes ffmpegOutput(const std::string& arguments, const std::string& extension) {
  Bytes bytes = contents(ffmpegFile(arguments, extension));
  EXPECT_FALSE(bytes.empty()) << "ffmpeg " << arguments;
  return bytes;
}

}  // namespace quorvin
