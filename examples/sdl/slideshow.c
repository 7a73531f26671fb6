/* Shows the pictures of a photo library, one at a time: the arrows go to the next and the last one,
 * Escape ends. The argument is the library's folder, by default the user's. */
#include <SDL.h>
#include <SDL_image.h>
#include <poll.h>
#include <quorvin/quorvin.h>
#include <string.h>
#include <unistd.h>

#include "../calls.h"

enum { kLarge = 2048 };

typedef struct Show {
  QuorvinEngine* engine;
  SDL_Window* window;
  SDL_Renderer* renderer;
  SDL_Texture* picture;
  char* gallery;
  int position;
  Uint32 has_work;  /* the event that the engine has something to run */
  SDL_sem* was_run; /* and that it was run, so that one looks again */
  int end[2];       /* a pipe; when its one end is closed, nobody looks any more */
} Show;

/* SDL waits for events of its own alone, so a thread waits for the engine's descriptor, and tells.
 */
static int watch_engine(void* data) {
  Show* show = data;
  struct pollfd waiting[2] = {{.fd = quorvin_engine_fd(show->engine), .events = POLLIN},
                              {.fd = show->end[0], .events = POLLIN}};
  while (poll(waiting, 2, -1) > 0 && waiting[1].revents == 0) {
    SDL_Event event = {.type = show->has_work};
    SDL_PushEvent(&event);
    SDL_SemWait(show->was_run);
  }
  return 0;
}

static void send_call(Show* show, Call* call, QuorvinReplyCallback reply) {
  quorvin_engine_send(show->engine, "quorvin", call->bytes, call->size, reply, show);
  call_free(call);
}

static char* copied(Value text) {
  char* copy = SDL_calloc(text.count + 1, 1);
  if (copy != NULL && text.type == VALUE_TEXT) memcpy(copy, text.bytes, text.count);
  return copy;
}

static void draw(Show* show) {
  int width, height, picture_width = 1, picture_height = 1;
  SDL_GetRendererOutputSize(show->renderer, &width, &height);
  SDL_SetRenderDrawColor(show->renderer, 0, 0, 0, 255);
  SDL_RenderClear(show->renderer);
  if (show->picture != NULL) {
    SDL_QueryTexture(show->picture, NULL, NULL, &picture_width, &picture_height);
    const float scale = SDL_min((float)width / picture_width, (float)height / picture_height);
    SDL_FRect place = {.w = picture_width * scale, .h = picture_height * scale};
    place.x = (width - place.w) / 2;
    place.y = (height - place.h) / 2;
    SDL_RenderCopyF(show->renderer, show->picture, NULL, &place);
  }
  SDL_RenderPresent(show->renderer);
}

static void on_picture(const uint8_t* message, size_t size, void* data) {
  Show* show = data;
  Value image;
  if (!read_reply(message, size, &image) || image.type != VALUE_BYTES) return;
  SDL_Texture* picture = IMG_LoadTexture_RW(
      show->renderer, SDL_RWFromConstMem(image.bytes, (int)image.count), SDL_TRUE);
  if (picture == NULL) return;
  SDL_DestroyTexture(show->picture);
  show->picture = picture;
  draw(show);
}

static void on_page(const uint8_t* message, size_t size, void* data) {
  Show* show = data;
  Value page, asset;
  if (!read_reply(message, size, &page)) return;
  if (!next_value(&page, &asset)) {
    /* Behind the last one. */
    show->position = SDL_max(show->position - 1, 0);
    return;
  }
  char* id = copied(value_of(&asset, "id"));
  Call call = thumbnail_call(id, kLarge, false);
  send_call(show, &call, on_picture);
  SDL_free(id);
}

static void ask_picture(Show* show) {
  if (show->gallery == NULL) return;
  Call call = page_call(show->gallery, show->position, show->position + 1, kImages);
  send_call(show, &call, on_page);
}

static void on_galleries(const uint8_t* message, size_t size, void* data) {
  Show* show = data;
  Value galleries;
  read_reply(message, size, &galleries);
  for (Value gallery; show->gallery == NULL && next_value(&galleries, &gallery);) {
    const Value type = value_of(&gallery, "type");
    /* The first one that is not smart is that of all assets. */
    if (!is_text(&type, "smart")) show->gallery = copied(value_of(&gallery, "id"));
  }
  ask_picture(show);
}

static void ask_galleries(Show* show) {
  Call call = galleries_call(kImages, false);
  send_call(show, &call, on_galleries);
}

static void step(Show* show, int by) {
  if (show->position + by < 0) return;
  show->position += by;
  ask_picture(show);
}

static void run(Show* show) {
  SDL_Event event;
  while (SDL_WaitEvent(&event) && event.type != SDL_QUIT) {
    if (event.type == show->has_work) {
      quorvin_engine_run(show->engine, 0);
      SDL_SemPost(show->was_run);
    } else if (event.type == SDL_WINDOWEVENT) {
      draw(show);
    } else if (event.type == SDL_KEYDOWN) {
      if (event.key.keysym.sym == SDLK_ESCAPE) return;
      if (event.key.keysym.sym == SDLK_RIGHT) step(show, 1);
      if (event.key.keysym.sym == SDLK_LEFT) step(show, -1);
    }
  }
}

int main(int argc, char** argv) {
  Show show = {0};
  const QuorvinOptions options = {.struct_size = sizeof options,
                                  .library_path = argc > 1 ? argv[1] : NULL,
                                  .authorization = -1};
  char* error = NULL;
  show.engine = quorvin_engine_create(&options, &error);
  if (show.engine == NULL) {
    SDL_Log("%s", error);
    quorvin_free(error);
    return 1;
  }
  if (SDL_Init(SDL_INIT_VIDEO) != 0 || pipe(show.end) != 0 ||
      SDL_CreateWindowAndRenderer(1000, 700, SDL_WINDOW_RESIZABLE, &show.window, &show.renderer)) {
    SDL_Log("%s", SDL_GetError());
    return 1;
  }
  show.has_work = SDL_RegisterEvents(1);
  show.was_run = SDL_CreateSemaphore(0);
  SDL_Thread* watcher = SDL_CreateThread(watch_engine, "engine", &show);

  ask_galleries(&show);
  run(&show);

  /* The thread first, for it looks at the engine's descriptor. */
  close(show.end[1]);
  SDL_SemPost(show.was_run);
  SDL_WaitThread(watcher, NULL);
  quorvin_engine_destroy(show.engine);
  SDL_DestroyTexture(show.picture);
  SDL_DestroySemaphore(show.was_run);
  SDL_free(show.gallery);
  SDL_DestroyRenderer(show.renderer);
  SDL_DestroyWindow(show.window);
  SDL_Quit();
  return 0;
}
