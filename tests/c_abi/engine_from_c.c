/* Uses the engine as a C program does, with messages written by hand. The first argument is a
 * folder for the library. Exit status 0 when everything is as it should be. */
#include <quorvin/quorvin.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define CHECK(condition)                                                      \
  do {                                                                        \
    if (!(condition)) {                                                       \
      fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
      exit(1);                                                                \
    }                                                                         \
  } while (0)

/* The first byte of a text is its type, the second its size. */
static const uint8_t kPlatformVersion[] = "\x07\x12getPlatformVersion";
static const uint8_t kClearAllCache[] =
    "\x07\x0d"
    "clearAllCache";
static const uint8_t kNoSuchMethod[] = "\x07\x0cnoSuchMethod";

static const uint8_t kListen[] = "\x07\x06listen";
static const uint8_t kCreateAlbum[] =
    "\x07\x0b"
    "createAlbum\x0d\x01\x07\x05title\x07\x06Summer";

typedef struct Answer {
  int count;
  uint8_t message[256];
  size_t size;
} Answer;

static void on_reply(const uint8_t* message, size_t size, void* user_data) {
  Answer* answer = user_data;
  CHECK(size <= sizeof answer->message);
  answer->count += 1;
  answer->size = size;
  if (size > 0) memcpy(answer->message, message, size);
}

/* A call's arguments are null: the zero that ends the C string is that value. */
static Answer send(QuorvinEngine* engine, const uint8_t* message, size_t size) {
  Answer answer = {0};
  quorvin_engine_send(engine, "quorvin", message, size, on_reply, &answer);
  while (answer.count == 0) quorvin_engine_run(engine, -1);
  return answer;
}

static void on_event(const char* channel, const uint8_t* message, size_t size, void* user_data) {
  CHECK(strcmp(channel, "quorvin/changes") == 0);
  on_reply(message, size, user_data);
}

/* Listens, makes an album, and waits for the event of it. */
static void check_events(QuorvinOptions options) {
  QuorvinEngine* engine;
  Answer event = {0};
  Answer answer = {0};
  options.authorization = 3;
  engine = quorvin_engine_create(&options, NULL);
  CHECK(engine != NULL);
  quorvin_engine_receive(engine, on_event, &event);
  quorvin_engine_send(engine, "quorvin/changes", kListen, sizeof kListen, on_reply, &answer);
  CHECK(answer.count == 1 && answer.size == 2 && memcmp(answer.message, "\0\0", 2) == 0);
  quorvin_engine_send(engine, "quorvin", kCreateAlbum, sizeof kCreateAlbum - 1, NULL, NULL);
  while (event.count == 0) quorvin_engine_run(engine, -1);
  CHECK(event.size > 16 && memcmp(event.message, "\0\x0d\x06\x07\x08sequence", 13) == 0);
  quorvin_engine_destroy(engine);
}

static int32_t refuse(void* user_data) {
  (void)user_data;
  return 2;
}

int main(int argc, char** argv) {
  QuorvinOptions options = {0};
  QuorvinEngine* engine;
  char* error = NULL;
  Answer answer;

  CHECK(argc == 2);
  CHECK(quorvin_abi_version() == 1);
  CHECK(strlen(quorvin_version()) > 0);

  CHECK(quorvin_engine_create(&options, &error) == NULL);
  CHECK(error != NULL && strlen(error) > 0);
  quorvin_free(error);

  options.struct_size = sizeof options;
  options.library_path = argv[1];
  options.system_version = "17.2";
  options.authorization = -1;
  options.request_authorization = refuse;
  engine = quorvin_engine_create(&options, &error);
  if (engine == NULL) fprintf(stderr, "%s\n", error);
  CHECK(engine != NULL && error == NULL);
  CHECK(quorvin_engine_fd(engine) >= 0);
  CHECK(quorvin_engine_run(engine, 0) == 0);

  answer = send(engine, kPlatformVersion, sizeof kPlatformVersion);
  CHECK(answer.count == 1 && answer.size == 11);
  CHECK(memcmp(answer.message, "\0\x07\x08iOS 17.2", 11) == 0);

  answer = send(engine, kClearAllCache, sizeof kClearAllCache);
  CHECK(answer.count == 1 && answer.size == 2);
  CHECK(memcmp(answer.message, "\0\x01", 2) == 0);

  answer = send(engine, kNoSuchMethod, sizeof kNoSuchMethod);
  CHECK(answer.count == 1 && answer.size == 0);

  quorvin_engine_destroy(engine);
  check_events(options);
  puts(quorvin_version());
  return 0;
}
