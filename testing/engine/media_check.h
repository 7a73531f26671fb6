// What files hold, as the programs of the field see it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace quorvin {

/// Runs a program to its end and returns what it wrote, errors included; fails the test unless it
/// succeeds.
std::string outputOf(const std::vector<std::string>& words);

std::string bytesOf(const std::filesystem::path& file);

struct PixelSize {
  std::int64_t width = 0;
  std::int64_t height = 0;
  friend bool operator==(const PixelSize&, const PixelSize&) = default;
  friend std::ostream& operator<<(std::ostream& out, const PixelSize& size) {
    return out << size.width << "x" << size.height;
  }
};

/// One that a decoder has read to its end.
struct SeenStill {
  std::string format;  ///< as ffprobe calls the codec, for example "mjpeg"
  PixelSize size;
};
SeenStill seeStill(const std::filesystem::path& file);

/// One of which every frame was decoded without an error.
struct SeenVideo {
  std::string videoCodec;
  std::string tag;         ///< of the video codec, for example "avc1"
  std::string audioCodec;  ///< empty without sound
  std::string brand;
  std::string creationTime;  ///< of the container; empty when it has none
  PixelSize size;            ///< as coded
  bool isTurned = false;     ///< by a display matrix
  std::int64_t frames = 0;
  double videoDuration = 0;  ///< seconds
  double audioDuration = 0;
  bool indexIsFirst = false;
};
SeenVideo seeVideo(const std::filesystem::path& file);

/// How alike two pictures or videos of one size are, in decibel; infinite for the same. `filter`
/// is applied to the first, for example "transpose=1".
double psnr(const std::filesystem::path& a, const std::filesystem::path& b,
            const std::string& filter = "null");

/// The packets of a file's streams of one kind ("v", "a"), as one text: equal for streams that were
/// copied bit by bit.
std::string packetsOf(const std::filesystem::path& file, const std::string& kind);

}  // namespace quorvin
