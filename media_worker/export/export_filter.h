// FFmpeg's filters, one after another.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "media_protocol/failure.h"
#include "media_worker/export/export_coding.h"

struct AVFilterContext;
struct AVFilterGraph;

namespace quorvin {

struct FilterGraphFree {
  void operator()(AVFilterGraph* graph) const;
};

/// A chain of filters, from frames that are given to frames that come out. One thread at a time.
class FilterChain {
 public:
  using TakeFrame = ExportDecoder::TakeFrame;
  enum class Kind { picture, sound };

  /// Makes the chain anew; what is in an older one is lost. `source` describes the frames that are
  /// given, `filters` what happens to them, both in FFmpeg's words.
  std::optional<Failure> open(Kind kind, std::string_view source, std::string_view filters);
  bool isOpen() const { return graph_ != nullptr; }

  /// Hands over what becomes of the frame; `frame` null: the rest, after which nothing more goes
  /// in.
  std::optional<Failure> filter(AVFrame* frame, const TakeFrame& take);

 private:
  FramePtr filtered_;
  std::unique_ptr<AVFilterGraph, FilterGraphFree> graph_;
  AVFilterContext* entry_ = nullptr;
  AVFilterContext* exit_ = nullptr;
};

/// The text that the format makes of the arguments, as `printf` would; at most 500 characters.
template <class... Args>
std::string filterText(const char* format, Args... args) {
  char line[501];
  std::snprintf(line, sizeof line, format, args...);
  return line;
}

}  // namespace quorvin
