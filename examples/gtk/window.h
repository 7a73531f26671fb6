/* The window: a grid of thumbnails, and one picture large. */
#ifndef EXAMPLES_GTK_WINDOW_H_
#define EXAMPLES_GTK_WINDOW_H_

#include "asset_list.h"

typedef struct Window {
  GtkWindow* window; /* NULL once it is closed */
  GtkWidget* pages;  /* "grid", "picture" and "nothing" */
  GtkWidget* grid;
  GtkWidget* picture;
  GtkWidget* back;
  GtkWidget* remove;
  GtkLabel* title;
  GtkLabel* subtitle;
  Library* library;
  AssetList* list;
  GtkSelectionModel* selection;
  Asset* viewed; /* NULL while the grid is there */
} Window;

void window_open(Window* window, GtkApplication* application);
void window_fill(Window* window, Library* library, AssetList* list);
/* Shows its numbers, and what can be done. */
void window_update(Window* window);

/* Shows one picture large; NULL: the grid. */
void window_view(Window* window, Asset* asset);
/* Shows the next picture, or an earlier one. */
void window_step(Window* window, int step);
/* Asks the engine to delete what is selected, or viewed. */
void window_delete(Window* window);

#endif /* EXAMPLES_GTK_WINDOW_H_ */
