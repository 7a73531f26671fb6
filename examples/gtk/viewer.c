/* What the window shows and does of the pictures. */
#include "window.h"

/* The side of the square that a large picture is to fit into. */
enum { kLarge = 2048 };

typedef struct View {
  Window* window;
  Asset* asset;
} View;

static void on_picture(const uint8_t* message, size_t size, void* data) {
  View* view = data;
  if (view->window->viewed == view->asset) {
    GdkTexture* texture = texture_of_reply(message, size);
    gtk_picture_set_paintable(GTK_PICTURE(view->window->picture), GDK_PAINTABLE(texture));
    g_clear_object(&texture);
  }
  g_object_unref(view->asset);
  g_free(view);
}

/* It counts as shown, so that the list keeps it when the library changes. */
static void set_viewed(Window* window, Asset* asset) {
  if (asset != NULL) asset_show(g_object_ref(asset));
  if (window->viewed != NULL) asset_hide(window->viewed);
  g_clear_object(&window->viewed);
  window->viewed = asset;
}

void window_view(Window* window, Asset* asset) {
  const guint left = window->viewed ? asset_list_find(window->list, window->viewed) : 0;
  const gboolean is_grid_left = window->viewed == NULL;
  set_viewed(window, asset);
  if (asset != NULL) {
    View* view = g_new(View, 1);
    *view = (View){window, g_object_ref(asset)};
    asset_ask(asset, kLarge, FALSE, on_picture, view);
    /* From one picture to the next, the earlier one stays until the other is there. */
    if (is_grid_left) gtk_picture_set_paintable(GTK_PICTURE(window->picture), NULL);
  }
  window_update(window);
  if (asset == NULL && left < g_list_model_get_n_items(G_LIST_MODEL(window->list))) {
    gtk_selection_model_select_item(window->selection, left, TRUE);
    gtk_widget_activate_action(window->grid, "list.scroll-to-item", "u", left);
  }
  gtk_widget_grab_focus(asset != NULL ? window->picture : window->grid);
}

void window_step(Window* window, int step) {
  const guint position = asset_list_find(window->list, window->viewed) + (guint)step;
  Asset* asset = g_list_model_get_item(G_LIST_MODEL(window->list), position);
  /* At either end there is none; and its page may be on the way. */
  if (asset != NULL && asset_id(asset) != NULL) window_view(window, asset);
  g_clear_object(&asset);
}

/* NULL when the page of any of them is on its way. */
static GPtrArray* chosen_ids(Window* window) {
  GPtrArray* ids = g_ptr_array_new_with_free_func(g_free);
  if (window->viewed != NULL) {
    g_ptr_array_add(ids, g_strdup(asset_id(window->viewed)));
    return ids;
  }
  GtkBitset* selected = gtk_selection_model_get_selection(window->selection);
  for (guint i = 0; ids != NULL && i < gtk_bitset_get_size(selected); ++i) {
    const guint position = gtk_bitset_get_nth(selected, i);
    Asset* asset = g_list_model_get_item(G_LIST_MODEL(window->list), position);
    if (asset_id(asset) != NULL) {
      g_ptr_array_add(ids, g_strdup(asset_id(asset)));
    } else {
      g_clear_pointer(&ids, g_ptr_array_unref);
    }
    g_object_unref(asset);
  }
  gtk_bitset_unref(selected);
  return ids;
}

void window_delete(Window* window) {
  GPtrArray* ids = chosen_ids(window);
  if (ids == NULL) return;
  if (ids->len > 0) {
    Call call = call_begin("deleteAssets");
    write_map(&call, 1);
    write_text(&call, "assetIds");
    write_list(&call, ids->len);
    for (guint i = 0; i < ids->len; ++i) write_text(&call, ids->pdata[i]);
    /* The engine asks before it deletes, and tells as of any change when it did. */
    library_send(window->library, &call, NULL, NULL);
  }
  g_ptr_array_unref(ids);
}

static char* numbers_of(Window* window) {
  const guint total = g_list_model_get_n_items(G_LIST_MODEL(window->list));
  if (window->viewed != NULL) {
    return g_strdup_printf("%u of %u", asset_list_find(window->list, window->viewed) + 1, total);
  }
  GtkBitset* selected = gtk_selection_model_get_selection(window->selection);
  const guint64 chosen = gtk_bitset_get_size(selected);
  gtk_bitset_unref(selected);
  if (chosen > 0) return g_strdup_printf("%" G_GUINT64_FORMAT " of %u selected", chosen, total);
  return g_strdup_printf(total == 1 ? "%u photo" : "%u photos", total);
}

void window_update(Window* window) {
  const guint total = g_list_model_get_n_items(G_LIST_MODEL(window->list));
  GtkBitset* selected = gtk_selection_model_get_selection(window->selection);
  const gboolean is_viewed = window->viewed != NULL;
  char* numbers = numbers_of(window);
  char* title;
  g_object_get(window->list, "title", &title, NULL);
  gtk_label_set_text(window->title, title != NULL ? title : "Photos");
  gtk_label_set_text(window->subtitle, numbers);
  gtk_widget_set_visible(window->back, is_viewed);
  gtk_widget_set_sensitive(window->remove, is_viewed || !gtk_bitset_is_empty(selected));
  gtk_stack_set_visible_child_name(GTK_STACK(window->pages), is_viewed   ? "picture"
                                                             : total > 0 ? "grid"
                                                                         : "nothing");
  gtk_bitset_unref(selected);
  g_free(numbers);
  g_free(title);
}

static void on_items_changed(Window* window) {
  const gboolean is_gone =
      window->viewed != NULL &&
      asset_list_find(window->list, window->viewed) == GTK_INVALID_LIST_POSITION;
  if (is_gone) {
    window_view(window, NULL);
  } else {
    window_update(window);
  }
}

/* The library may still call back. */
static void on_destroy(Window* window) {
  window->window = NULL;
  g_signal_handlers_disconnect_by_data(window->list, window);
  g_signal_handlers_disconnect_by_data(window->selection, window);
  set_viewed(window, NULL);
  g_clear_object(&window->selection);
}

void window_fill(Window* window, Library* library, AssetList* list) {
  window->library = library;
  window->list = list;
  window->selection =
      GTK_SELECTION_MODEL(gtk_multi_selection_new(G_LIST_MODEL(g_object_ref(list))));
  gtk_grid_view_set_model(GTK_GRID_VIEW(window->grid), window->selection);
  g_signal_connect_swapped(window->window, "destroy", G_CALLBACK(on_destroy), window);
  g_signal_connect_swapped(list, "notify::title", G_CALLBACK(window_update), window);
  g_signal_connect_swapped(window->selection, "items-changed", G_CALLBACK(on_items_changed),
                           window);
  g_signal_connect_swapped(window->selection, "selection-changed", G_CALLBACK(window_update),
                           window);
}
