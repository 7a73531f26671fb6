#include "media_worker/side/side_file.h"

#include <string_view>

#include "media_protocol/letter_case.h"
#include "media_worker/side/side_json.h"
#include "media_worker/side/side_xmp.h"

namespace quorvin {
namespace {

bool isPropertyList(std::string_view content) {
  if (content.starts_with("bplist00")) return true;
  if (content.starts_with("\xef\xbb\xbf")) content.remove_prefix(3);
  content.remove_prefix(std::min(content.find_first_not_of(" \t\r\n"), content.size()));
  const bool isXml = content.starts_with("<?xml") || content.starts_with("<!DOCTYPE plist");
  return content.starts_with("<plist") || (isXml && content.find("<plist") != content.npos);
}

MediaProbe sideProbe(SideKind kind, const char* identifier, const char* extension) {
  MediaProbe probe;
  probe.kind = MediaKind::side;
  probe.uniformTypeIdentifier = identifier;
  probe.extension = extension;
  probe.notes.kind = kind;
  return probe;
}

}  // namespace

std::string sideContent(const InputFile& file) {
  std::string content(static_cast<std::size_t>(file.size()), '\0');
  content.resize(file.readAt(0, {reinterpret_cast<std::uint8_t*>(content.data()), content.size()}));
  return content;
}

std::optional<MediaProbe> probeSide(const InputFile& file, const std::string& name) {
  const std::string plain = lowerCase(name);
  const bool isAdjustment = plain.ends_with(".aae");
  const bool isXmp = plain.ends_with(".xmp");
  const bool isJson = plain.ends_with(".json");
  if (!(isAdjustment || isXmp || isJson) || file.size() > kLargestSideFile) return std::nullopt;
  const std::string content = sideContent(file);
  if (isAdjustment) {
    if (!isPropertyList(content)) return std::nullopt;
    return sideProbe(SideKind::adjustment, "public.xml", "aae");
  }
  MediaProbe probe = isXmp ? sideProbe(SideKind::xmp, "public.xml", "xmp")
                           : sideProbe(SideKind::takeout, "public.json", "json");
  if (isXmp ? readXmp(content, probe) : readJson(content, plain, probe)) return probe;
  return std::nullopt;
}

}  // namespace quorvin
