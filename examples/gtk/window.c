#include "window.h"

enum { kCellSize = 160 };

static const char kStyle[] =
    "gridview { padding: 6px; }"
    "gridview > child { padding: 3px; border-radius: 9px; background: none; }"
    "gridview > child:selected { background: @theme_selected_bg_color; }"
    "gridview picture { border-radius: 6px; background: alpha(currentColor, 0.08); }"
    "picture.large { background: black; }"
    ".prompt { padding: 24px; min-width: 320px; }"
    ".nothing { font-size: 150%; opacity: 0.6; }";

static void set_up_cell(GtkSignalListItemFactory* factory, GtkListItem* cell) {
  (void)factory;
  GtkWidget* picture = gtk_picture_new();
  gtk_widget_set_size_request(picture, kCellSize, kCellSize);
  gtk_widget_set_overflow(picture, GTK_OVERFLOW_HIDDEN);
  gtk_picture_set_content_fit(GTK_PICTURE(picture), GTK_CONTENT_FIT_COVER);
  gtk_list_item_set_child(cell, picture);
}

static void bind_cell(GtkSignalListItemFactory* factory, GtkListItem* cell) {
  (void)factory;
  Asset* asset = gtk_list_item_get_item(cell);
  GtkWidget* picture = gtk_list_item_get_child(cell);
  GBinding* binding =
      g_object_bind_property(asset, "thumbnail", picture, "paintable", G_BINDING_SYNC_CREATE);
  g_object_set_data(G_OBJECT(cell), "binding", binding);
  asset_show(asset);
}

static void unbind_cell(GtkSignalListItemFactory* factory, GtkListItem* cell) {
  (void)factory;
  g_binding_unbind(g_object_steal_data(G_OBJECT(cell), "binding"));
  asset_hide(gtk_list_item_get_item(cell));
}

static void on_activate(GtkGridView* grid, guint position, Window* window) {
  (void)grid;
  Asset* asset = g_list_model_get_item(G_LIST_MODEL(window->list), position);
  /* Its page may be on the way. */
  if (asset_id(asset) != NULL) window_view(window, asset);
  g_object_unref(asset);
}

static gboolean on_key(GtkEventControllerKey* keys, guint key, guint code,
                       GdkModifierType modifiers, Window* window) {
  (void)keys;
  (void)code;
  if ((modifiers & (GDK_CONTROL_MASK | GDK_ALT_MASK)) != 0) return FALSE;
  if (key == GDK_KEY_Delete) {
    window_delete(window);
    return TRUE;
  }
  if (window->viewed == NULL) return FALSE;
  if (key == GDK_KEY_Escape) window_view(window, NULL);
  if (key == GDK_KEY_Left) window_step(window, -1);
  if (key == GDK_KEY_Right) window_step(window, 1);
  return key == GDK_KEY_Escape || key == GDK_KEY_Left || key == GDK_KEY_Right;
}

static void on_back(Window* window) {
  window_view(window, NULL);
}

static GtkWidget* header_button(GtkWidget* header, const char* icon, const char* hint,
                                void (*act)(Window*), Window* window) {
  GtkWidget* button = gtk_button_new_from_icon_name(icon);
  gtk_widget_set_tooltip_text(button, hint);
  g_signal_connect_swapped(button, "clicked", G_CALLBACK(act), window);
  gtk_widget_set_focusable(button, FALSE);
  gtk_header_bar_pack_start(GTK_HEADER_BAR(header), button);
  return button;
}

static GtkWidget* title_label(GtkWidget* titles, const char* style) {
  GtkWidget* label = gtk_label_new(NULL);
  gtk_widget_add_css_class(label, style);
  gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
  gtk_box_append(GTK_BOX(titles), label);
  return label;
}

static GtkWidget* make_header(Window* window) {
  GtkWidget* header = gtk_header_bar_new();
  GtkWidget* titles = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_widget_set_valign(titles, GTK_ALIGN_CENTER);
  window->title = GTK_LABEL(title_label(titles, "title"));
  window->subtitle = GTK_LABEL(title_label(titles, "subtitle"));
  gtk_header_bar_set_title_widget(GTK_HEADER_BAR(header), titles);
  window->back = header_button(header, "go-previous-symbolic", "Back", on_back, window);
  window->remove = header_button(header, "user-trash-symbolic", "Delete", window_delete, window);
  return header;
}

static GtkWidget* make_grid(Window* window) {
  GtkListItemFactory* factory = gtk_signal_list_item_factory_new();
  GtkWidget* scrolled = gtk_scrolled_window_new();
  window->grid = gtk_grid_view_new(NULL, factory);
  g_signal_connect(factory, "setup", G_CALLBACK(set_up_cell), NULL);
  g_signal_connect(factory, "bind", G_CALLBACK(bind_cell), NULL);
  g_signal_connect(factory, "unbind", G_CALLBACK(unbind_cell), NULL);
  g_signal_connect(window->grid, "activate", G_CALLBACK(on_activate), window);
  gtk_grid_view_set_max_columns(GTK_GRID_VIEW(window->grid), 16);
  gtk_grid_view_set_enable_rubberband(GTK_GRID_VIEW(window->grid), TRUE);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scrolled), window->grid);
  return scrolled;
}

static GtkWidget* make_pages(Window* window) {
  GtkWidget* nothing = gtk_label_new("No photos to show");
  gtk_widget_add_css_class(nothing, "nothing");
  window->picture = gtk_picture_new();
  gtk_widget_add_css_class(window->picture, "large");
  gtk_widget_set_focusable(window->picture, TRUE);
  window->pages = gtk_stack_new();
  gtk_stack_set_transition_type(GTK_STACK(window->pages), GTK_STACK_TRANSITION_TYPE_CROSSFADE);
  gtk_stack_add_named(GTK_STACK(window->pages), make_grid(window), "grid");
  gtk_stack_add_named(GTK_STACK(window->pages), window->picture, "picture");
  gtk_stack_add_named(GTK_STACK(window->pages), nothing, "nothing");
  return window->pages;
}

static void add_style(GdkDisplay* display) {
  GtkCssProvider* style = gtk_css_provider_new();
#if GTK_CHECK_VERSION(4, 12, 0)
  gtk_css_provider_load_from_string(style, kStyle);
#else
  gtk_css_provider_load_from_data(style, kStyle, -1);
#endif
  gtk_style_context_add_provider_for_display(display, GTK_STYLE_PROVIDER(style),
                                             GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
  g_object_unref(style);
}

void window_open(Window* window, GtkApplication* application) {
  GtkWidget* widget = gtk_application_window_new(application);
  GtkEventController* keys = gtk_event_controller_key_new();
  add_style(gtk_widget_get_display(widget));
  window->window = GTK_WINDOW(widget);
  gtk_window_set_title(window->window, "Photos");
  gtk_window_set_default_size(window->window, 1000, 700);
  gtk_window_set_titlebar(window->window, make_header(window));
  gtk_window_set_child(window->window, make_pages(window));
  /* Before the grid, which takes the arrows. */
  gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
  g_signal_connect(keys, "key-pressed", G_CALLBACK(on_key), window);
  gtk_widget_add_controller(widget, keys);
  gtk_window_present(window->window);
}
