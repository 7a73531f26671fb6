// FFmpeg's library of filters, loaded only by workers for exports: it brings along some thirty
// other libraries, and a worker that makes thumbnails would start a third slower with them.
#pragma once

#include <cstdint>

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

namespace quorvin {

/// What is used of the library, by the names that it has there.
struct FilterLibrary {
  decltype(&::avfilter_get_by_name) avfilter_get_by_name = nullptr;
  decltype(&::avfilter_graph_alloc) avfilter_graph_alloc = nullptr;
  decltype(&::avfilter_graph_config) avfilter_graph_config = nullptr;
  decltype(&::avfilter_graph_free) avfilter_graph_free = nullptr;
  decltype(&::avfilter_graph_get_filter) avfilter_graph_get_filter = nullptr;
  decltype(&::avfilter_graph_parse2) avfilter_graph_parse2 = nullptr;
  decltype(&::avfilter_inout_free) avfilter_inout_free = nullptr;
  decltype(&::av_buffersink_get_frame) av_buffersink_get_frame = nullptr;
  decltype(&::av_buffersrc_add_frame_flags) av_buffersrc_add_frame_flags = nullptr;
};

/// Null when the library cannot be loaded. Any thread; the library stays loaded.
const FilterLibrary* filterLibrary();

}  // namespace quorvin
