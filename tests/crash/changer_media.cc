#include "tests/crash/changer_media.h"

#include <cstdint>
#include <map>

#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

constexpr const char* kStillPrefix = "half_";
constexpr const char* kMotionPrefix = "motion_";

// They are asked for again and again.
const std::string& generated(const std::string& path) {
  static std::map<std::string, std::string> read;
  const auto [place, isNew] = read.try_emplace(path);
  if (isNew) place->second = readFile(path);
  return place->second;
}

const std::string& still(const std::string& media) {
  return generated(media + "/orientation_1.jpg");
}

const std::string& movie(const std::string& media) {
  return generated(media + "/" + kChangerVideo.name);
}

std::string bigEndian(std::uint32_t number, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    text += static_cast<char>(number >> shift & 0xFF);
  }
  return text;
}

// Readers skip it.
std::string movieWithName(const std::string& media, const std::string& name) {
  constexpr std::uint32_t kBoxHead = 8;
  return movie(media) + bigEndian(kBoxHead + static_cast<std::uint32_t>(name.size()), 4) + "free" +
         name;
}

std::string motionPhoto(const std::string& media, const std::string& movieInside) {
  const std::string& picture = still(media);
  const std::string packet =
      "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">"
      "<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
      "<rdf:Description rdf:about=\"\" xmlns:GCamera=\"http://ns.google.com/photos/1.0/camera/\" "
      "GCamera:MicroVideo=\"1\" GCamera:MicroVideoOffset=\"" +
      std::to_string(movieInside.size()) + "\"/></rdf:RDF></x:xmpmeta>";
  const std::string body = std::string("http://ns.adobe.com/xap/1.0/") + '\0' + packet;
  constexpr std::size_t kStart = 2;  // bytes of the marker that begins a picture
  return picture.substr(0, kStart) + "\xFF\xE1" +
         bigEndian(static_cast<std::uint32_t>(body.size() + 2), 2) + body + picture.substr(kStart) +
         movieInside;
}

std::string withEnding(const std::string& name, const std::string& ending) {
  return name.substr(0, name.rfind('.')) + ending;
}

}  // namespace

std::string madeStill(unsigned number) {
  return kStillPrefix + std::to_string(number) + ".jpg";
}

std::string madeMovie(unsigned number) {
  return kStillPrefix + std::to_string(number) + ".mov";
}

std::string madeMotionPhoto(unsigned number) {
  return kMotionPrefix + std::to_string(number) + ".jpg";
}

std::string movieIn(const std::string& motionPhoto) {
  return withEnding(motionPhoto, ".MP4");
}

bool isMade(const std::string& name) {
  return name.starts_with(kStillPrefix) || name.starts_with(kMotionPrefix);
}

std::string contentOf(const std::string& media, const std::string& name) {
  if (!isMade(name)) return generated(media + "/" + name);
  if (name.starts_with(kMotionPrefix)) {
    const std::string inside = movieWithName(media, withEnding(name, ""));
    return name.ends_with(".jpg") ? motionPhoto(media, inside) : inside;
  }
  return name.ends_with(".jpg") ? still(media) + name : movieWithName(media, name);
}

}  // namespace quorvin
