#include "asset.h"

#include "../calls.h"

enum {
  kAtOnce = 16,
  /* Of a cell on a screen of twice the common density. */
  kThumbnailSize = 320
};

struct _Asset {
  GObject parent;
  Thumbnails* thumbnails;
  char* id;
  gint64 modified;
  GdkTexture* thumbnail;
  guint cells;
  gboolean is_asked;
  gboolean is_outdated; /* what it asked for */
};

G_DEFINE_TYPE(Asset, asset, G_TYPE_OBJECT)

enum { kThumbnail = 1 };
static GParamSpec* thumbnail_property;

static void set_thumbnail(Asset* asset, GdkTexture* thumbnail) {
  if (g_set_object(&asset->thumbnail, thumbnail)) {
    g_object_notify_by_pspec(G_OBJECT(asset), thumbnail_property);
  }
}

static void want_thumbnail(Asset* asset);
static void on_thumbnail(const uint8_t* message, size_t size, void* data);

static void ask_next(Thumbnails* thumbnails) {
  while (thumbnails->asked < kAtOnce && !g_queue_is_empty(&thumbnails->waiting)) {
    Asset* asset = g_queue_pop_head(&thumbnails->waiting);
    thumbnails->asked += 1;
    asset->is_asked = TRUE;
    asset_ask(asset, kThumbnailSize, TRUE, on_thumbnail, g_object_ref(asset));
  }
}

static void on_thumbnail(const uint8_t* message, size_t size, void* data) {
  Asset* asset = data;
  Thumbnails* thumbnails = asset->thumbnails;
  const gboolean is_of_before = asset->is_outdated;
  asset->is_asked = FALSE;
  asset->is_outdated = FALSE;
  thumbnails->asked -= 1;
  if (is_of_before && size > 0) {
    want_thumbnail(asset);
  } else if (asset->cells > 0) {
    GdkTexture* thumbnail = texture_of_reply(message, size);
    set_thumbnail(asset, thumbnail);
    g_clear_object(&thumbnail);
  }
  g_object_unref(asset);
  /* No reply at all: the engine ends. */
  if (size > 0) ask_next(thumbnails);
}

static void want_thumbnail(Asset* asset) {
  if (asset->cells == 0 || asset->id == NULL || asset->thumbnail != NULL || asset->is_asked) return;
  g_queue_remove(&asset->thumbnails->waiting, asset);
  g_queue_push_tail(&asset->thumbnails->waiting, asset);
  ask_next(asset->thumbnails);
}

Asset* asset_new(Thumbnails* thumbnails) {
  Asset* asset = g_object_new(ASSET_TYPE, NULL);
  asset->thumbnails = thumbnails;
  return asset;
}

const char* asset_id(Asset* asset) {
  return asset->id;
}

void asset_know(Asset* asset, const Value* record) {
  const Value id = value_of(record, "id");
  const gint64 modified = value_of(record, "modificationDate").integer;
  if (id.type != VALUE_TEXT) return;
  if (asset->id == NULL) asset->id = g_strndup((const char*)id.bytes, id.count);
  if (asset->modified != modified) {
    set_thumbnail(asset, NULL);
    asset->is_outdated = asset->is_asked;
  }
  asset->modified = modified;
  want_thumbnail(asset);
}

void asset_show(Asset* asset) {
  asset->cells += 1;
  want_thumbnail(asset);
}

void asset_hide(Asset* asset) {
  asset->cells -= 1;
  if (asset->cells > 0) return;
  g_queue_remove(&asset->thumbnails->waiting, asset);
  set_thumbnail(asset, NULL);
}

gboolean asset_is_shown(Asset* asset) {
  return asset->cells > 0;
}

GdkTexture* asset_thumbnail(Asset* asset) {
  return asset->thumbnail;
}

void asset_ask(Asset* asset, int size, gboolean covers, QuorvinReplyCallback reply, gpointer data) {
  Call call = thumbnail_call(asset->id, size, covers);
  library_send(asset->thumbnails->library, &call, reply, data);
}

GdkTexture* texture_of_reply(const uint8_t* message, size_t size) {
  Value image;
  if (!read_reply(message, size, &image) || image.type != VALUE_BYTES) return NULL;
  GBytes* bytes = g_bytes_new(image.bytes, image.count);
  GdkTexture* texture = gdk_texture_new_from_bytes(bytes, NULL);
  g_bytes_unref(bytes);
  return texture;
}

static void asset_get_property(GObject* object, guint property, GValue* value, GParamSpec* spec) {
  (void)spec;
  if (property == kThumbnail) g_value_set_object(value, EXAMPLE_ASSET(object)->thumbnail);
}

static void asset_finalize(GObject* object) {
  Asset* asset = EXAMPLE_ASSET(object);
  g_clear_object(&asset->thumbnail);
  g_free(asset->id);
  G_OBJECT_CLASS(asset_parent_class)->finalize(object);
}

static void asset_class_init(AssetClass* asset_class) {
  GObjectClass* object_class = G_OBJECT_CLASS(asset_class);
  object_class->get_property = asset_get_property;
  object_class->finalize = asset_finalize;
  thumbnail_property = g_param_spec_object("thumbnail", NULL, NULL, GDK_TYPE_PAINTABLE,
                                           G_PARAM_READABLE | G_PARAM_STATIC_STRINGS);
  g_object_class_install_property(object_class, kThumbnail, thumbnail_property);
}

static void asset_init(Asset* asset) {
  (void)asset;
}
