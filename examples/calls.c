#include "calls.h"

static void write_named_integer(Call* call, const char* name, int32_t value) {
  write_text(call, name);
  write_integer(call, value);
}

static void write_named_bool(Call* call, const char* name, bool value) {
  write_text(call, name);
  write_bool(call, value);
}

Call galleries_call(int32_t media_type, bool without_empty) {
  Call call = call_begin("getGalleryList");
  write_map(&call, 4);
  write_named_bool(&call, "withAllPhotos", true);
  write_named_bool(&call, "filterEmptyAsset", without_empty);
  write_named_bool(&call, "withSmartAlbum", true);
  write_named_integer(&call, "mediaType", media_type);
  return call;
}

Call page_call(const char* gallery, int32_t first, int32_t last, int32_t media_type) {
  Call call = call_begin("getAssetList");
  write_map(&call, 5);
  write_text(&call, "collectionId");
  write_text(&call, gallery);
  write_named_integer(&call, "start", first);
  write_named_integer(&call, "end", last);
  write_named_integer(&call, "sort", 0);
  write_named_integer(&call, "mediaType", media_type);
  return call;
}

Call thumbnail_call(const char* asset, int32_t size, bool covers) {
  Call call = call_begin("getThumbnail");
  write_map(&call, 5);
  write_text(&call, "assetId");
  write_text(&call, asset);
  write_named_integer(&call, "width", size);
  write_named_integer(&call, "height", size);
  write_named_integer(&call, "contentMode", covers);
  write_named_bool(&call, "jpegFormat", true);
  return call;
}
