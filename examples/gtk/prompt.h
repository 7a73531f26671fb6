/* A question that is waited for. */
#ifndef EXAMPLES_GTK_PROMPT_H_
#define EXAMPLES_GTK_PROMPT_H_

#include <gtk/gtk.h>

/* Shows a dialog and runs the main loop until it is answered. TRUE for the button with this label,
 * FALSE for the other one; `otherwise` when the dialog is closed, by Escape or with its window. */
int prompt(GtkWindow* parent, const char* question, const char* details, const char* yes,
           const char* no, int otherwise);

#endif /* EXAMPLES_GTK_PROMPT_H_ */
