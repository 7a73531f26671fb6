#include "asset_list.h"

#include "../calls.h"

enum { kPage = 100 };

struct _AssetList {
  GObject parent;
  Library* library;
  Thumbnails* thumbnails;
  char* gallery;
  char* title;
  /* One for each position; NULL where nobody looked yet. */
  GPtrArray* assets;
  GtkBitset* asked; /* pages */
  /* Changes when positions do: pages that were asked for before are of no use. */
  guint generation;
  gboolean is_refreshing;
  gboolean is_outdated;
};

/* Part of the list while it is asked for. */
typedef struct Part {
  AssetList* list;
  guint first;
  guint last;  /* one past it */
  guint total; /* pictures in the library by then */
  guint generation;
} Part;

static void model_init(GListModelInterface* interface);
G_DEFINE_TYPE_WITH_CODE(AssetList, asset_list, G_TYPE_OBJECT,
                        G_IMPLEMENT_INTERFACE(G_TYPE_LIST_MODEL, model_init))

enum { kTitle = 1 };
static GParamSpec* title_property;

static void ask_part(AssetList* list, guint first, guint last, guint total,
                     QuorvinReplyCallback reply) {
  Part* part = g_new(Part, 1);
  *part = (Part){g_object_ref(list), first, last, total, list->generation};
  Call call = page_call(list->gallery, (int32_t)first, (int32_t)last, kImages);
  library_send(list->library, &call, reply, part);
}

static void part_free(Part* part) {
  g_object_unref(part->list);
  g_free(part);
}

static Asset* asset_at(AssetList* list, guint position) {
  gpointer* asset = &list->assets->pdata[position];
  if (*asset == NULL) *asset = asset_new(list->thumbnails);
  return *asset;
}

static void on_page(const uint8_t* message, size_t size, void* data) {
  Part* page = data;
  AssetList* list = page->list;
  Value records;
  Value record;
  guint position = page->first;
  /* One that failed is asked for again when a cell of it comes back into view. */
  if (!read_reply(message, size, &records) && page->generation == list->generation) {
    gtk_bitset_remove(list->asked, page->first / kPage);
  }
  while (page->generation == list->generation && position < list->assets->len &&
         next_value(&records, &record)) {
    asset_know(asset_at(list, position++), &record);
  }
  part_free(page);
}

static gpointer get_item(GListModel* model, guint position) {
  AssetList* list = EXAMPLE_ASSET_LIST(model);
  if (position >= list->assets->len) return NULL;
  const guint page = position / kPage;
  if (asset_id(asset_at(list, position)) == NULL && gtk_bitset_add(list->asked, page)) {
    ask_part(list, page * kPage, (page + 1) * kPage, 0, on_page);
  }
  return g_object_ref(asset_at(list, position));
}

static guint get_n_items(GListModel* model) {
  return EXAMPLE_ASSET_LIST(model)->assets->len;
}

static GType get_item_type(GListModel* model) {
  (void)model;
  return ASSET_TYPE;
}

static void model_init(GListModelInterface* interface) {
  interface->get_item = get_item;
  interface->get_item_type = get_item_type;
  interface->get_n_items = get_n_items;
}

/* Puts others, or as many that are not known, in the place of some. */
static void replace(AssetList* list, guint position, guint removed, gpointer* added, guint count) {
  GPtrArray* assets = list->assets;
  if (removed == 0 && count == 0) return;
  if (removed > 0) g_ptr_array_remove_range(assets, position, removed);
  const guint behind = assets->len - position;
  g_ptr_array_set_size(assets, (int)(assets->len + count));
  gpointer* place = assets->pdata + position;
  memmove(place + count, place, behind * sizeof *place);
  for (guint i = 0; i < count; ++i) place[i] = added != NULL ? g_object_ref(added[i]) : NULL;
  g_list_model_items_changed(G_LIST_MODEL(list), position, removed, count);
}

/* These records, as the assets that they are of where those are known. */
static GPtrArray* assets_of(AssetList* list, Value records) {
  GPtrArray* assets = g_ptr_array_new_with_free_func(g_object_unref);
  GHashTable* known = g_hash_table_new(g_str_hash, g_str_equal);
  for (guint i = 0; i < list->assets->len; ++i) {
    Asset* asset = list->assets->pdata[i];
    if (asset != NULL && asset_id(asset) != NULL) {
      g_hash_table_insert(known, (gpointer)asset_id(asset), asset);
    }
  }
  for (Value record; next_value(&records, &record);) {
    Asset* fresh = asset_new(list->thumbnails);
    asset_know(fresh, &record);
    Asset* asset = asset_id(fresh) ? g_hash_table_lookup(known, asset_id(fresh)) : NULL;
    if (asset != NULL) asset_know(asset, &record);
    g_ptr_array_add(assets, asset != NULL ? g_object_ref(asset) : g_object_ref(fresh));
    g_object_unref(fresh);
  }
  g_hash_table_unref(known);
  return assets;
}

/* Has the list hold these in the part's place, and forgets all others. What was there before stays
 * what it is for whoever shows it, so that nothing moves that need not. */
static void put_in_place(AssetList* list, const Part* part, GPtrArray* fresh) {
  const guint first = MIN(part->first, list->assets->len);
  const guint last = MIN(part->last, list->assets->len);
  list->generation += 1;
  gtk_bitset_remove_all(list->asked);
  replace(list, last, list->assets->len - last, NULL, 0);
  replace(list, 0, first, NULL, 0);
  gpointer* old = list->assets->pdata;
  const guint count = list->assets->len;
  const guint common = MIN(count, fresh->len);
  guint before = 0;
  guint after = 0;
  while (before < common && old[before] == fresh->pdata[before]) ++before;
  while (before + after < common &&
         old[count - 1 - after] == fresh->pdata[fresh->len - 1 - after]) {
    ++after;
  }
  replace(list, before, count - before - after, fresh->pdata + before, fresh->len - before - after);
  replace(list, 0, 0, NULL, MIN(part->first, part->total));
  const guint held = list->assets->len;
  replace(list, held, 0, NULL, part->total - MIN(part->total, held));
}

static void on_shown(const uint8_t* message, size_t size, void* data) {
  Part* part = data;
  AssetList* list = part->list;
  Value records;
  list->is_refreshing = FALSE;
  if (read_reply(message, size, &records)) {
    GPtrArray* fresh = assets_of(list, records);
    put_in_place(list, part, fresh);
    g_ptr_array_unref(fresh);
  }
  if (list->is_outdated && size > 0) asset_list_refresh(list);
  part_free(part);
}

/* Asks for what is shown, from the first to the last of it. */
static void ask_shown(AssetList* list, guint total) {
  guint first = 0;
  guint last = 0;
  for (guint i = 0; i < list->assets->len; ++i) {
    Asset* asset = list->assets->pdata[i];
    if (asset == NULL || !asset_is_shown(asset)) continue;
    if (last == 0) first = i;
    last = i + 1;
  }
  ask_part(list, first, MAX(last, first + kPage), total, on_shown);
}

static char* text_of(Value value) {
  return value.type == VALUE_TEXT ? g_strndup((const char*)value.bytes, value.count) : g_strdup("");
}

static void on_galleries(const uint8_t* message, size_t size, void* data) {
  AssetList* list = data;
  Value galleries;
  Value gallery;
  gint64 total = 0;
  read_reply(message, size, &galleries);
  g_clear_pointer(&list->gallery, g_free);
  while (list->gallery == NULL && next_value(&galleries, &gallery)) {
    const Value type = value_of(&gallery, "type");
    const Value counts = value_of(&gallery, "assetCount");
    /* The first one that is not smart is that of all assets. */
    if (is_text(&type, "smart")) continue;
    g_free(list->title);
    list->gallery = text_of(value_of(&gallery, "id"));
    list->title = text_of(value_of(&gallery, "title"));
    total = value_of(&counts, "totalCount").integer;
    g_object_notify_by_pspec(G_OBJECT(list), title_property);
  }
  if (list->gallery != NULL) {
    ask_shown(list, (guint)total);
  } else {
    list->is_refreshing = FALSE;
    replace(list, 0, list->assets->len, NULL, 0);
    if (list->is_outdated && size > 0) asset_list_refresh(list);
  }
  g_object_unref(list);
}

void asset_list_refresh(AssetList* list) {
  list->is_outdated = list->is_refreshing;
  if (list->is_refreshing) return;
  list->is_refreshing = TRUE;
  Call call = galleries_call(kImages, false);
  library_send(list->library, &call, on_galleries, g_object_ref(list));
}

guint asset_list_find(AssetList* list, Asset* asset) {
  guint position;
  return g_ptr_array_find(list->assets, asset, &position) ? position : GTK_INVALID_LIST_POSITION;
}

static void unref_known(gpointer asset) {
  if (asset != NULL) g_object_unref(asset);
}

AssetList* asset_list_new(Library* library, Thumbnails* thumbnails) {
  AssetList* list = g_object_new(ASSET_LIST_TYPE, NULL);
  list->library = library;
  list->thumbnails = thumbnails;
  return list;
}

static void asset_list_init(AssetList* list) {
  list->assets = g_ptr_array_new_with_free_func(unref_known);
  list->asked = gtk_bitset_new_empty();
}

static void asset_list_get_property(GObject* object, guint property, GValue* value,
                                    GParamSpec* spec) {
  (void)spec;
  if (property == kTitle) g_value_set_string(value, EXAMPLE_ASSET_LIST(object)->title);
}

static void asset_list_finalize(GObject* object) {
  AssetList* list = EXAMPLE_ASSET_LIST(object);
  g_ptr_array_unref(list->assets);
  gtk_bitset_unref(list->asked);
  g_free(list->gallery);
  g_free(list->title);
  G_OBJECT_CLASS(asset_list_parent_class)->finalize(object);
}

static void asset_list_class_init(AssetListClass* list_class) {
  GObjectClass* object_class = G_OBJECT_CLASS(list_class);
  object_class->get_property = asset_list_get_property;
  object_class->finalize = asset_list_finalize;
  title_property =
      g_param_spec_string("title", NULL, NULL, NULL, G_PARAM_READABLE | G_PARAM_STATIC_STRINGS);
  g_object_class_install_property(object_class, kTitle, title_property);
}
