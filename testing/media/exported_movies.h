// Movies for tests, made by the ffmpeg program, and what a player finds in an export of them.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "media_protocol/failure.h"
#include "media_protocol/requests.h"
#include "media_worker/export/export.h"
#include "testing/media/pictures.h"

namespace quorvin {

inline constexpr auto kPassthrough = VideoPreset::passthrough;
inline constexpr auto kHighest = VideoPreset::highestQuality;
inline constexpr auto kMedium = VideoPreset::mediumQuality;
inline constexpr std::array kPresets{kPassthrough, kHighest, kMedium};
inline constexpr auto kMov = VideoContainer::quickTime;
inline constexpr auto kMp4 = VideoContainer::mpeg4;

/// What the ffmpeg program makes by these arguments.
inline FileDescriptor movie(const std::string& arguments, const std::string& extension = "mov") {
  return ffmpegFile(arguments, extension);
}
/// The arguments for a moving picture of this many frames a second with a tone, three seconds long.
/// `inputs` are those of further inputs.
std::string film(int rate = 30, const std::string& inputs = "");
/// The name by which ffmpeg can read the file.
std::string nameOf(const FileDescriptor& file);

struct Exported {
  FileDescriptor file;
  std::optional<Failure> error;
  std::string reason() const { return error ? error->sentence() : ""; }
};
Exported exported(const FileDescriptor& source, VideoPreset preset,
                  VideoContainer container = VideoContainer::quickTime, const TimeMap& map = {},
                  const ExportEncoders& encoders = {});
/// The containers' numbers, or nothing and a failed expectation.
std::vector<VideoContainer> containersOf(const FileDescriptor& source, VideoPreset preset);

struct TestPacket {
  double time = 0;           ///< of showing, seconds
  double decoded = 0;        ///< of decoding, seconds
  std::size_t position = 0;  ///< in the file
  Bytes bytes;
};

struct TestTrack {
  bool picture = false;
  std::string codec;
  std::string tag;
  int width = 0;
  int height = 0;
  int profile = 0;
  int orientation = 1;
  int sampleRate = 0;
  int channels = 0;
  double beginning = 0;  ///< seconds
  double duration = 0;
  int transfer = 0;  ///< of the colours
  int primaries = 0;
  int matrix = 0;
  std::string language;
  int disposition = 0;  ///< AV_DISPOSITION_...
  std::vector<TestPacket> packets;
};

struct TestMovie {
  std::string brand;
  double duration = 0;
  std::map<std::string, std::string> tags;
  std::vector<TestTrack> tracks;

  const TestTrack& picture() const;
  const TestTrack& sound() const;
  std::vector<TestTrack> sounds() const;
};
TestMovie contentsOf(const FileDescriptor& file);

struct Shown {
  double time = 0;
  Picture picture;
};
/// Every frame of the first track of pictures; a frame that does not decode fails the test.
std::vector<Shown> shown(const FileDescriptor& file);
/// Every sample of one channel of a track of sound that is heard, from time 0 on.
std::vector<float> heard(const FileDescriptor& file, int channel = 0, int track = 0);
/// How often the sound swings in a second of the part, in seconds.
double pitch(const std::vector<float>& samples, int sampleRate, double from, double to);
/// The first moment, in seconds, at which the sound is loud.
double onset(const std::vector<float>& samples, int sampleRate);

/// Peak signal-to-noise ratio, decibels, of all frames.
double psnr(const std::vector<Shown>& some, const std::vector<Shown>& others);

/// The names of the file's boxes.
std::string boxesOf(const FileDescriptor& file);

}  // namespace quorvin
