/* The engine in GLib's main loop. */
#ifndef EXAMPLES_GTK_LIBRARY_H_
#define EXAMPLES_GTK_LIBRARY_H_

#include <gio/gio.h>
#include <quorvin/quorvin.h>

#include "../messages.h"

typedef struct Library Library;

/* NULL, and an error, when it cannot be opened. */
Library* library_open(const QuorvinOptions* options, GError** error);
/* Every call that is unanswered is answered with nothing before this returns. */
void library_close(Library* library);

/* Sends a call, which is freed. */
void library_send(Library* library, Call* call, QuorvinReplyCallback reply, gpointer data);
/* Tells of every change of the library, whoever makes it. */
void library_listen(Library* library, QuorvinMessageCallback change, gpointer data);

#endif /* EXAMPLES_GTK_LIBRARY_H_ */
