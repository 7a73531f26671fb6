// Bytes of media files, and files that hold them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <vector>

#include "posix/file_descriptor.h"

namespace quorvin {

using Bytes = std::vector<std::uint8_t>;

Bytes concatenated(std::initializer_list<Bytes> parts);
Bytes bytesOf(const std::string& text);
/// The text so many times.
std::string repeated(const std::string& text, std::size_t times);
Bytes firstBytes(const Bytes& bytes, std::size_t count);

/// A file in memory.
FileDescriptor fileOf(std::span<const std::uint8_t> bytes);
Bytes contents(const FileDescriptor& file);

/// What the ffmpeg program makes of these arguments, which stand before the name of the file. Fails
/// the test when it makes nothing.
FileDescriptor ffmpegFile(const std::string& arguments, const std::string& extension);
Bytes ffmpegOutput(const std::string& arguments, const std::string& extension);

}  // namespace quorvin
