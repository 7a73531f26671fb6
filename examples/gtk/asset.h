/* A picture of the library, and its thumbnail while a cell shows it. */
#ifndef EXAMPLES_GTK_ASSET_H_
#define EXAMPLES_GTK_ASSET_H_

#include <gtk/gtk.h>

#include "library.h"

/* The thumbnails that are to be asked for, in this order, a few at once: what the engine was asked
 * for it delivers, but what waits here can be forgotten. */
typedef struct Thumbnails {
  Library* library;
  GQueue waiting;
  guint asked;
} Thumbnails;

#define ASSET_TYPE (asset_get_type())
G_DECLARE_FINAL_TYPE(Asset, asset, EXAMPLE, ASSET, GObject)

/* It has no identifier until the page that it is on has come. */
Asset* asset_new(Thumbnails* thumbnails);
const char* asset_id(Asset* asset);
/* Tells it what its record says. */
void asset_know(Asset* asset, const Value* record);

/* A cell shows it, or does not any more. Its property "thumbnail" is there in between. */
void asset_show(Asset* asset);
void asset_hide(Asset* asset);
gboolean asset_is_shown(Asset* asset);
GdkTexture* asset_thumbnail(Asset* asset);

/* Asks for its picture, within a square of this many pixels, or as a thumbnail that covers it. */
void asset_ask(Asset* asset, int size, gboolean covers, QuorvinReplyCallback reply, gpointer data);
/* NULL where the reply is no picture. */
GdkTexture* texture_of_reply(const uint8_t* message, size_t size);

#endif /* EXAMPLES_GTK_ASSET_H_ */
