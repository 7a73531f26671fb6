/* The pictures of a photo library in a window. The argument is the library's folder, by default the
 * user's. */
#include "prompt.h"
#include "window.h"

typedef struct App {
  Window window;
  Library* library;
  Thumbnails thumbnails;
  AssetList* list;
  const char* path;
  int status;
} App;

/* The engine's numbers. */
enum { kUndecided = -1, kDenied = 2, kAuthorized = 3 };

static int32_t request_authorization(void* data) {
  App* app = data;
  if (app->window.window == NULL) return kUndecided;
  const int answer = prompt(app->window.window, "Show your photos?",
                            "This program would like to see the photos of your library.", "_Allow",
                            "_Do Not Allow", kUndecided);
  return answer == TRUE ? kAuthorized : answer == FALSE ? kDenied : kUndecided;
}

static int32_t confirm_deletion(size_t count, void* data) {
  App* app = data;
  if (app->window.window == NULL) return FALSE;
  char* question = count == 1 ? g_strdup("Delete this photo?")
                              : g_strdup_printf("Delete %" G_GSIZE_FORMAT " photos?", count);
  const int answer = prompt(app->window.window, question, "They can be restored for 30 days.",
                            "_Delete", "_Cancel", FALSE);
  g_free(question);
  return answer;
}

static void on_permission(const uint8_t* message, size_t size, void* data) {
  (void)message;
  App* app = data;
  /* Without access there is nothing to show; the list then says so. */
  if (size > 0) asset_list_refresh(app->list);
}

static void on_change(const char* channel, const uint8_t* message, size_t size, void* data) {
  (void)channel;
  (void)message;
  (void)size;
  asset_list_refresh(((App*)data)->list);
}

static void on_activate(GtkApplication* application, App* app) {
  const QuorvinOptions options = {
      .struct_size = sizeof options,
      .library_path = app->path,
      .authorization = -1,
      .request_authorization = request_authorization,
      .user_data = app,
      .confirm_deletion = confirm_deletion,
  };
  GError* error = NULL;
  app->library = library_open(&options, &error);
  if (app->library == NULL) {
    g_printerr("%s\n", error->message);
    g_error_free(error);
    app->status = 1;
    return;
  }
  app->thumbnails.library = app->library;
  app->list = asset_list_new(app->library, &app->thumbnails);
  const char* const close_keys[] = {"<Control>w", "<Control>q", NULL};
  gtk_application_set_accels_for_action(application, "window.close", close_keys);
  window_open(&app->window, application);
  window_fill(&app->window, app->library, app->list);
  library_listen(app->library, on_change, app);
  Call call = call_begin("getPermission");
  write_null(&call);
  library_send(app->library, &call, on_permission, app);
}

/* The window and its cells are gone. */
static void on_shutdown(GtkApplication* application, App* app) {
  (void)application;
  if (app->library == NULL) return;
  library_close(app->library);
  g_object_unref(app->list);
}

int main(int argc, char** argv) {
  App app = {.path = argc > 1 ? argv[1] : NULL};
  GtkApplication* application =
      gtk_application_new("quorvin.examples.Photos", G_APPLICATION_NON_UNIQUE);
  g_signal_connect(application, "activate", G_CALLBACK(on_activate), &app);
  g_signal_connect(application, "shutdown", G_CALLBACK(on_shutdown), &app);
  const int status = g_application_run(G_APPLICATION(application), 1, argv);
  g_object_unref(application);
  return status != 0 ? status : app.status;
}
