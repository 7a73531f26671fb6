#include "media_worker/export/filter_library.h"

#include <dlfcn.h>

#include <optional>

namespace quorvin {

namespace {

template <class Function>
bool find(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(::dlsym(library, name));
  return function != nullptr;
}

std::optional<FilterLibrary> load() {
  void* library = ::dlopen(QUORVIN_FILTER_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  FilterLibrary found;
  const bool whole =
      library != nullptr && find(library, "avfilter_get_by_name", found.avfilter_get_by_name) &&
      find(library, "avfilter_graph_alloc", found.avfilter_graph_alloc) &&
      find(library, "avfilter_graph_config", found.avfilter_graph_config) &&
      find(library, "avfilter_graph_free", found.avfilter_graph_free) &&
      find(library, "avfilter_graph_get_filter", found.avfilter_graph_get_filter) &&
      find(library, "avfilter_graph_parse2", found.avfilter_graph_parse2) &&
      find(library, "avfilter_inout_free", found.avfilter_inout_free) &&
      find(library, "av_buffersink_get_frame", found.av_buffersink_get_frame) &&
      find(library, "av_buffersrc_add_frame_flags", found.av_buffersrc_add_frame_flags);
  return whole ? std::optional(found) : std::nullopt;
}

}  // namespace

const FilterLibrary* filterLibrary() {
  static const std::optional<FilterLibrary> library = load();
  return library ? &*library : nullptr;
}

}  // namespace quorvin
