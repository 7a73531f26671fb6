/* Lists the galleries of a photo library, and again whenever it changes, until it is interrupted.
 * The loop is poll() alone. The argument is the library's folder, by default the user's. */
/* For ppoll(). */
#define _GNU_SOURCE
#include <errno.h>
#include <poll.h>
#include <quorvin/quorvin.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

#include "../calls.h"

static volatile sig_atomic_t is_interrupted;

static void interrupt(int number) {
  (void)number;
  is_interrupted = 1;
}

static void print_galleries(const uint8_t* message, size_t size, void* data) {
  Value galleries;
  (void)data;
  if (!read_reply(message, size, &galleries)) {
    fprintf(stderr, "The galleries cannot be read: %.*s\n", (int)galleries.count,
            galleries.type == VALUE_TEXT ? (const char*)galleries.bytes : "");
    return;
  }
  for (Value gallery; next_value(&galleries, &gallery);) {
    const Value title = value_of(&gallery, "title");
    const Value counts = value_of(&gallery, "assetCount");
    printf("%7lld  %.*s\n", (long long)value_of(&counts, "totalCount").integer, (int)title.count,
           (const char*)title.bytes);
  }
  fflush(stdout);
}

static void ask_galleries(QuorvinEngine* engine) {
  Call call = galleries_call(kAllMedia, true);
  quorvin_engine_send(engine, "quorvin", call.bytes, call.size, print_galleries, NULL);
  call_free(&call);
}

static void on_change(const char* channel, const uint8_t* message, size_t size, void* engine) {
  (void)channel;
  (void)message;
  (void)size;
  printf("\n");
  ask_galleries(engine);
}

static void listen_to_changes(QuorvinEngine* engine) {
  Call call = call_begin("listen");
  write_null(&call);
  quorvin_engine_receive(engine, on_change, engine);
  quorvin_engine_send(engine, "quorvin/changes", call.bytes, call.size, NULL, NULL);
  call_free(&call);
}

int main(int argc, char** argv) {
  const QuorvinOptions options = {.struct_size = sizeof options,
                                  .library_path = argc > 1 ? argv[1] : NULL,
                                  .authorization = -1};
  char* error = NULL;
  QuorvinEngine* engine = quorvin_engine_create(&options, &error);
  if (engine == NULL) {
    fprintf(stderr, "%s\n", error);
    quorvin_free(error);
    return EXIT_FAILURE;
  }

  /* The signals come while poll() waits, and at no other time: none is missed. */
  sigset_t during;
  sigset_t otherwise;
  struct sigaction action = {.sa_handler = interrupt};
  sigemptyset(&otherwise);
  sigaddset(&otherwise, SIGINT);
  sigaddset(&otherwise, SIGTERM);
  sigprocmask(SIG_BLOCK, &otherwise, &during);
  sigdelset(&during, SIGINT);
  sigdelset(&during, SIGTERM);
  sigaction(SIGINT, &action, NULL);
  sigaction(SIGTERM, &action, NULL);

  listen_to_changes(engine);
  ask_galleries(engine);
  while (!is_interrupted) {
    struct pollfd waiting = {.fd = quorvin_engine_fd(engine), .events = POLLIN};
    const int ready = ppoll(&waiting, 1, NULL, &during);
    if (ready < 0 && errno != EINTR) break;
    if (ready > 0) quorvin_engine_run(engine, 0);
  }
  quorvin_engine_destroy(engine);
  return is_interrupted ? EXIT_SUCCESS : EXIT_FAILURE;
}
