#include "testing/engine/media_check.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <limits>

namespace quorvin {
namespace {

using Json = nlohmann::json;

std::string quoted(const std::string& word) {
  std::string quotedWord = "'";
  for (const char c : word) quotedWord += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quotedWord + "'";
}

Json probe(const std::filesystem::path& file) {
  return Json::parse(outputOf({"ffprobe", "-v", "error", "-count_frames", "-show_streams",
                               "-show_format", "-of", "json", file}));
}

void expectEveryFrameDecodes(const std::filesystem::path& file) {
  // Counted in the file's own time, or frames that come fast would seem to come at once.
  EXPECT_EQ(outputOf({"ffmpeg", "-nostdin", "-v", "error", "-xerror", "-i", file, "-fps_mode",
                      "passthrough", "-enc_time_base", "-1", "-f", "null", "-"}),
            "")
      << file;
}

double secondsOf(const Json& stream) {
  return std::stod(stream.value("duration", "0"));
}

}  // namespace

std::string outputOf(const std::vector<std::string>& words) {
  std::string command;
  for (const std::string& word : words) command += quoted(word) + " ";
  std::FILE* pipe = ::popen((command + "2>&1").c_str(), "r");
  std::string output;
  char buffer[4096];
  for (std::size_t read = 0; (read = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
    output.append(buffer, read);
  }
  EXPECT_EQ(::pclose(pipe), 0) << command << output;
  return output;
}

std::string bytesOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  EXPECT_TRUE(stream) << file;
  return {std::istreambuf_iterator<char>(stream), {}};
}

SeenStill seeStill(const std::filesystem::path& file) {
  expectEveryFrameDecodes(file);
  const Json stream = probe(file)["streams"].at(0);
  return {stream.value("codec_name", ""), {stream.value("width", 0), stream.value("height", 0)}};
}

SeenVideo seeVideo(const std::filesystem::path& file) {
  expectEveryFrameDecodes(file);
  const Json seen = probe(file);
  const std::string bytes = bytesOf(file);
  SeenVideo video;
  const Json tags = seen["format"].value("tags", Json::object());
  video.brand = tags.value("major_brand", "");
  video.creationTime = tags.value("creation_time", "");
  video.indexIsFirst = bytes.find("moov") < bytes.find("mdat");
  for (const Json& stream : seen["streams"]) {
    if (stream["codec_type"] == "audio") {
      video.audioCodec = stream["codec_name"];
      video.audioDuration = secondsOf(stream);
    }
    if (stream["codec_type"] != "video") continue;
    video.videoCodec = stream["codec_name"];
    video.tag = stream["codec_tag_string"];
    video.size = {stream["width"], stream["height"]};
    video.frames = std::stoll(stream.value("nb_read_frames", "0"));
    video.videoDuration = secondsOf(stream);
    video.isTurned = stream.contains("side_data_list") &&
                     stream["side_data_list"].dump().find("rotation") != std::string::npos;
  }
  return video;
}

double psnr(const std::filesystem::path& a, const std::filesystem::path& b,
            const std::string& filter) {
  const std::string output =
      outputOf({"ffmpeg", "-nostdin", "-v", "info", "-i", a, "-i", b, "-lavfi",
                "[0:v]" + filter +
                    ",setpts=PTS-STARTPTS,format=yuv420p[a];"
                    "[1:v]setpts=PTS-STARTPTS,format=yuv420p[b];[a][b]psnr",
                "-f", "null", "-"});
  const std::string label = "average:";
  const std::size_t found = output.rfind(label);
  if (found == std::string::npos) {
    ADD_FAILURE() << "no PSNR of " << a << " and " << b << ": " << output;
    return 0;
  }
  const std::string number = output.substr(found + label.size(), 12);
  return number.starts_with("inf") ? std::numeric_limits<double>::infinity() : std::stod(number);
}

std::string packetsOf(const std::filesystem::path& file, const std::string& kind) {
  return outputOf({"ffmpeg", "-nostdin", "-v", "error", "-i", file, "-map", "0:" + kind, "-c",
                   "copy", "-f", "md5", "-"});
}

}  // namespace quorvin
