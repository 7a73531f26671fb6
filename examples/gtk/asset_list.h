/* The pictures of the library, newest first, as a list model that asks for a page of them when one
 * of it comes into view. */
#ifndef EXAMPLES_GTK_ASSET_LIST_H_
#define EXAMPLES_GTK_ASSET_LIST_H_

#include "asset.h"

#define ASSET_LIST_TYPE (asset_list_get_type())
G_DECLARE_FINAL_TYPE(AssetList, asset_list, EXAMPLE, ASSET_LIST, GObject)

/* Empty until it is refreshed. Its property "title" is that of the gallery. */
AssetList* asset_list_new(Library* library, Thumbnails* thumbnails);
/* Asks anew how many there are, and for those that are shown. */
void asset_list_refresh(AssetList* list);
/* GTK_INVALID_LIST_POSITION when it is not there. */
guint asset_list_find(AssetList* list, Asset* asset);

#endif /* EXAMPLES_GTK_ASSET_LIST_H_ */
