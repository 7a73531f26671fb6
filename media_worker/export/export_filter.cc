#include "media_worker/export/export_filter.h"

#include "media_protocol/wire.h"
#include "media_worker/export/filter_library.h"

namespace quorvin {

namespace {

Failure cannotFilter() {
  return Failure(LibraryErrorCode::invalidResource,
                 "the video holds pictures or sounds of a kind that cannot be converted.");
}

}  // namespace

void FilterGraphFree::operator()(AVFilterGraph* graph) const {
  filterLibrary()->avfilter_graph_free(&graph);
}

std::optional<Failure> FilterChain::open(Kind kind, std::string_view source,
                                         std::string_view filters) {
  const FilterLibrary* library = filterLibrary();
  if (library == nullptr) {
    return Failure(LibraryErrorCode::internal, "FFmpeg's library of filters is missing.");
  }
  if (!filtered_) filtered_.reset(av_frame_alloc());
  graph_.reset(library->avfilter_graph_alloc());
  if (!graph_ || !filtered_) return outOfMemory();
  graph_->nb_threads = kind == Kind::picture ? codingThreads() : 1;
  const std::string entry = kind == Kind::picture ? "buffer@entry" : "abuffer@entry";
  const std::string exit = kind == Kind::picture ? "buffersink@exit" : "abuffersink@exit";
  std::string whole = entry + "=";
  whole.append(source).append(",").append(filters).append(",").append(exit);
  AVFilterInOut* inputs = nullptr;
  AVFilterInOut* outputs = nullptr;
  const int parsed = library->avfilter_graph_parse2(graph_.get(), whole.c_str(), &inputs, &outputs);
  library->avfilter_inout_free(&inputs);
  library->avfilter_inout_free(&outputs);
  if (parsed < 0 || library->avfilter_graph_config(graph_.get(), nullptr) < 0)
    return cannotFilter();
  entry_ = library->avfilter_graph_get_filter(graph_.get(), entry.c_str());
  exit_ = library->avfilter_graph_get_filter(graph_.get(), exit.c_str());
  return entry_ == nullptr || exit_ == nullptr ? std::optional<Failure>(cannotFilter())
                                               : std::nullopt;
}

std::optional<Failure> FilterChain::filter(AVFrame* frame, const TakeFrame& take) {
  if (!graph_) return std::nullopt;
  const int given =
      filterLibrary()->av_buffersrc_add_frame_flags(entry_, frame, AV_BUFFERSRC_FLAG_KEEP_REF);
  if (given == AVERROR(ENOMEM)) return outOfMemory();
  if (given < 0) return cannotFilter();
  for (;;) {
    const int code = filterLibrary()->av_buffersink_get_frame(exit_, filtered_.get());
    if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return std::nullopt;
    if (code == AVERROR(ENOMEM)) return outOfMemory();
    if (code < 0) return cannotFilter();
    std::optional<Failure> failure = take(*filtered_);
    av_frame_unref(filtered_.get());
    if (failure) return failure;
  }
}

}  // namespace quorvin
