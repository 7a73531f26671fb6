#include "media_worker/probe/probe_movie_type.h"

#include <string_view>

namespace quorvin {
namespace {

using namespace std::string_view_literals;

constexpr ContentType kQuickTime = {"public.quicktime-movie", "mov"};
constexpr ContentType kM4aAudio = {"public.m4a-audio", "m4a"};

/// The family of QuickTime, by its brand; the first files of that family had none.
ContentType brandType(std::string_view brand, MediaKind kind) {
  if (brand.empty() || brand == "qt  ") return kQuickTime;
  if (brand.starts_with("3gp") || brand.starts_with("3gr") || brand.starts_with("3gs")) {
    return {"public.3gpp", "3gp"};
  }
  if (brand.starts_with("3g2")) return {"public.3gpp2", "3g2"};
  if (brand.starts_with("M4A") || brand.starts_with("M4B")) return kM4aAudio;
  if (kind == MediaKind::audio) return kM4aAudio;
  if (brand.starts_with("M4V")) return {"public.m4v-video", "m4v"};
  return {"public.mpeg-4", "mp4"};
}

ContentType matroskaType(std::string_view head, MediaKind kind) {
  // The document type is among the first elements.
  if (head.substr(0, 64).find("\x42\x82\x84webm"sv) != std::string_view::npos) {
    return {"org.webmproject.webm", "webm"};
  }
  return kind == MediaKind::audio ? ContentType{"org.matroska.mka", "mka"}
                                  : ContentType{"org.matroska.mkv", "mkv"};
}

struct NamedType {
  std::string_view demuxer;
  ContentType type;
};

constexpr NamedType kVideoTypes[] = {
    {"avi", {"public.avi", "avi"}},
    {"mpeg", {"public.mpeg", "mpg"}},
    {"mpegvideo", {"public.mpeg", "mpg"}},
    {"mpegts", {"public.mpeg-2-transport-stream", "ts"}},
    {"asf", {"com.microsoft.windows-media-wmv", "wmv"}},
    {"flv", {"com.adobe.flash.video", "flv"}},
    {"ogg", {"org.xiph.ogg-video", "ogv"}},
    {"dv", {"public.dv-movie", "dv"}},
    {"mxf", {"org.smpte.mxf", "mxf"}},
};

constexpr NamedType kAudioTypes[] = {
    {"mp3", {"public.mp3", "mp3"}},
    {"wav", {"com.microsoft.waveform-audio", "wav"}},
    {"aiff", {"public.aiff-audio", "aiff"}},
    {"flac", {"org.xiph.flac", "flac"}},
    {"ogg", {"org.xiph.ogg-audio", "ogg"}},
    {"aac", {"public.aac-audio", "aac"}},
    {"ac3", {"public.ac3-audio", "ac3"}},
    {"eac3", {"public.enhanced-ac3-audio", "eac3"}},
    {"amr", {"org.3gpp.adaptive-multi-rate-audio", "amr"}},
    {"asf", {"com.microsoft.windows-media-wma", "wma"}},
    {"avi", {"public.avi", "avi"}},
    {"flv", {"com.adobe.flash.video", "flv"}},
    {"mpeg", {"public.mpeg", "mpg"}},
    {"mpegts", {"public.mpeg-2-transport-stream", "ts"}},
    {"mxf", {"org.smpte.mxf", "mxf"}},
    {"w64", {"public.audio", "w64"}},
    {"caf", {"public.audio", "caf"}},
    {"ape", {"public.audio", "ape"}},
    {"wv", {"public.audio", "wv"}},
};

}  // namespace

ContentType movieType(std::string_view demuxer, std::span<const std::uint8_t> head,
                      MediaKind kind) {
  if (demuxer.starts_with("mov,")) return brandType(majorBrand(head), kind);
  if (demuxer.starts_with("matroska")) {
    return matroskaType({reinterpret_cast<const char*>(head.data()), head.size()}, kind);
  }
  const std::span<const NamedType> types =
      kind == MediaKind::audio ? std::span<const NamedType>(kAudioTypes) : kVideoTypes;
  for (const NamedType& known : types) {
    if (known.demuxer == demuxer) return known.type;
  }
  return kind == MediaKind::audio ? ContentType{"public.audio", ""}
                                  : ContentType{"public.movie", ""};
}

}  // namespace quorvin
