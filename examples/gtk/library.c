#include "library.h"

#include <glib-unix.h>

struct Library {
  QuorvinEngine* engine;
  GSource* source;
};

static gboolean run_engine(int descriptor, GIOCondition condition, gpointer engine) {
  (void)descriptor;
  (void)condition;
  quorvin_engine_run(engine, 0);
  return G_SOURCE_CONTINUE;
}

Library* library_open(const QuorvinOptions* options, GError** error) {
  char* reason = NULL;
  QuorvinEngine* engine = quorvin_engine_create(options, &reason);
  if (engine == NULL) {
    g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_FAILED, reason);
    quorvin_free(reason);
    return NULL;
  }
  Library* library = g_new0(Library, 1);
  library->engine = engine;
  library->source = g_unix_fd_source_new(quorvin_engine_fd(engine), G_IO_IN);
  g_source_set_callback(library->source, G_SOURCE_FUNC(run_engine), engine, NULL);
  /* A prompt runs the main loop inside this source: pictures go on coming behind it. */
  g_source_set_can_recurse(library->source, TRUE);
  /* After input and drawing, which many replies would hold up. */
  g_source_set_priority(library->source, G_PRIORITY_DEFAULT_IDLE);
  g_source_attach(library->source, NULL);
  return library;
}

void library_close(Library* library) {
  /* The descriptor is the engine's, and is not watched any more when that goes. */
  g_source_destroy(library->source);
  g_source_unref(library->source);
  quorvin_engine_destroy(library->engine);
  g_free(library);
}

void library_send(Library* library, Call* call, QuorvinReplyCallback reply, gpointer data) {
  quorvin_engine_send(library->engine, "quorvin", call->bytes, call->size, reply, data);
  call_free(call);
}

void library_listen(Library* library, QuorvinMessageCallback change, gpointer data) {
  Call listen = call_begin("listen");
  write_null(&listen);
  quorvin_engine_receive(library->engine, change, data);
  quorvin_engine_send(library->engine, "quorvin/changes", listen.bytes, listen.size, NULL, NULL);
  call_free(&listen);
}
