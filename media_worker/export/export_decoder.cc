// Damage is what the decoder tells of: packets that it refuses, and frames that it had to make up
// in part. Some of its decoders refuse only when they are asked to: that of HEVC then also refuses
// remarks that it does not know, which are taken out before.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <string>

#include "media_protocol/wire.h"
#include "media_worker/export/export_coding.h"
#include "media_worker/export/export_track.h"
#include "media_worker/export/source_movie.h"

namespace quorvin {

namespace {

/// Of so many packets one may be damaged.
constexpr std::int64_t kPacketsPerFailure = 10;

/// A torn packet at the end of a file is shown among so many last frames.
constexpr std::int64_t kFramesOfTheEnd = 4;

/// A recording may begin with pictures that need earlier ones.
constexpr std::int64_t kMostPacketsBeforeFrames = 300;

bool isMadeUp(const AVFrame& frame) {
  return (frame.flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame.decode_error_flags != 0;
}

/// Takes remarks (SEI) out of HEVC; null when that cannot be done.
BitstreamFilterPtr withoutRemarks(const AVStream& source) {
  const AVBitStreamFilter* kind = av_bsf_get_by_name("filter_units");
  AVBSFContext* made = nullptr;
  if (kind == nullptr || av_bsf_alloc(kind, &made) < 0) return nullptr;
  BitstreamFilterPtr filter(made);
  made->time_base_in = source.time_base;
  if (avcodec_parameters_copy(made->par_in, source.codecpar) < 0 ||
      av_opt_set(made, "remove_types", "39-40", AV_OPT_SEARCH_CHILDREN) < 0 ||
      av_bsf_init(made) < 0) {
    return nullptr;
  }
  return filter;
}

}  // namespace

void BitstreamFilterFree::operator()(AVBSFContext* filter) const {
  av_bsf_free(&filter);
}

ExportDecoder::ExportDecoder(const SourceTrack& track)
    : mayEndEarly_(track.mayEndEarly), frame_(av_frame_alloc()), filtered_(av_packet_alloc()) {
  const AVStream& source = track.stream;
  if (source.codecpar->codec_id == AV_CODEC_ID_HEVC) remarks_ = withoutRemarks(source);
  CodecContextPtr context = newDecoder(remarks_ ? *remarks_->par_out : *source.codecpar);
  if (!frame_ || !filtered_ || !context) return;
  const AVCodecParameters& coded = *source.codecpar;
  context->thread_count = codingThreads(std::int64_t{coded.width} * coded.height);
  context->pkt_timebase = source.time_base;
  if (remarks_) context->err_recognition |= AV_EF_EXPLODE;
  if (avcodec_open2(context.get(), nullptr, nullptr) >= 0) context_ = std::move(context);
}

std::optional<Failure> ExportDecoder::decode(const AVPacket* packet, const TakeFrame& take) {
  if (packet != nullptr) ++packets_;
  if (packet == nullptr || !remarks_) return send(packet, take);
  if (av_packet_ref(filtered_.get(), packet) < 0) return outOfMemory();
  int code = av_bsf_send_packet(remarks_.get(), filtered_.get());
  while (code >= 0 && (code = av_bsf_receive_packet(remarks_.get(), filtered_.get())) >= 0) {
    std::optional<Failure> failure = send(filtered_.get(), take);
    av_packet_unref(filtered_.get());
    if (failure) return failure;
  }
  if (code == AVERROR(ENOMEM)) return outOfMemory();
  if (code != AVERROR(EAGAIN)) noteFailure();
  return std::nullopt;
}

std::optional<Failure> ExportDecoder::send(const AVPacket* packet, const TakeFrame& take) {
  int code = avcodec_send_packet(context_.get(), packet);
  while (code == AVERROR(EAGAIN)) {
    if (std::optional<Failure> failure = takeFrames(take)) return failure;
    code = avcodec_send_packet(context_.get(), packet);
  }
  if (code == AVERROR(ENOMEM)) return outOfMemory();
  if (code < 0 && code != AVERROR_EOF) noteFailure();
  return takeFrames(take);
}

std::optional<Failure> ExportDecoder::takeFrames(const TakeFrame& take) {
  for (;;) {
    const int code = avcodec_receive_frame(context_.get(), frame_.get());
    if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return std::nullopt;
    if (code == AVERROR(ENOMEM)) return outOfMemory();
    if (code < 0) {
      noteFailure();
      continue;
    }
    ++frames_;
    if (isMadeUp(*frame_)) {
      noteFailure();
    } else {
      anyWhole_ = true;
    }
    std::optional<Failure> failure = take(*frame_);
    av_frame_unref(frame_.get());
    if (failure) return failure;
  }
}

void ExportDecoder::noteFailure() {
  failedAt_ = frames_;
  const bool mayBeginSo = mayEndEarly_ && packets_ <= kMostPacketsBeforeFrames;
  if (anyWhole_ || !mayBeginSo) ++failures_;
}

std::optional<Failure> ExportDecoder::tooMuchDamage(std::string_view what) const {
  const auto invalid = [what](std::string_view how) {
    return Failure(LibraryErrorCode::invalidResource, std::string(what).append(how));
  };
  if (packets_ == 0) return std::nullopt;
  if (frames_ == 0) return invalid(" cannot be decoded.");
  if (!anyWhole_ || failures_ > std::max<std::int64_t>(packets_ / kPacketsPerFailure, 2)) {
    return invalid(" is damaged.");
  }
  const bool torn = failedAt_ && frames_ - *failedAt_ <= kFramesOfTheEnd;
  return torn && mayEndEarly_ ? std::optional(endsEarly()) : std::nullopt;
}

bool canDecode(const AVStream& source) {
  return static_cast<bool>(ExportDecoder({source}));
}

}  // namespace quorvin
