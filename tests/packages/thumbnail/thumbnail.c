/* Writes a JPEG thumbnail of an asset: thumbnail LIBRARY ASSET_ID FILE. */
#include <quorvin/quorvin.h>
#include <stdio.h>
#include <string.h>

enum { kTrue = 1, kInteger = 3, kDouble = 6, kText = 7, kBytes = 8, kMap = 13 };

typedef struct Message {
  uint8_t bytes[512];
  size_t size;
} Message;

typedef struct Answer {
  FILE* file;
  int came;
  int written;
} Answer;

static void put_byte(Message* message, int byte) {
  message->bytes[message->size++] = (uint8_t)byte;
}

/* Texts are shorter than 254 bytes. */
static void put_text(Message* message, const char* text) {
  put_byte(message, kText);
  put_byte(message, (int)strlen(text));
  memcpy(message->bytes + message->size, text, strlen(text));
  message->size += strlen(text);
}

static void put_double(Message* message, double value) {
  put_byte(message, kDouble);
  while (message->size % 8 != 0) put_byte(message, 0);
  memcpy(message->bytes + message->size, &value, sizeof value);
  message->size += sizeof value;
}

/* A reply is a zero and one value: here bytes, whose size is told in 1, 3 or 5 bytes. */
static void on_reply(const uint8_t* reply, size_t size, void* user_data) {
  Answer* answer = user_data;
  size_t start = 3;
  answer->came = 1;
  if (size < 8 || reply[0] != 0 || reply[1] != kBytes) return;
  if (reply[2] == 254) start = 5;
  if (reply[2] == 255) start = 7;
  answer->written = fwrite(reply + start, 1, size - start, answer->file) == size - start;
}

int main(int argc, char** argv) {
  QuorvinOptions options = {0};
  Message call = {{0}, 0};
  Answer answer = {NULL, 0, 0};
  QuorvinEngine* engine;
  if (argc != 4 || strlen(argv[2]) > 200) return 2;
  options.struct_size = sizeof options;
  options.library_path = argv[1];
  options.authorization = 3;
  engine = quorvin_engine_create(&options, NULL);
  answer.file = fopen(argv[3], "wb");
  if (engine == NULL || answer.file == NULL) return 1;

  put_text(&call, "getThumbnail");
  put_byte(&call, kMap);
  put_byte(&call, 5);
  put_text(&call, "assetId");
  put_text(&call, argv[2]);
  put_text(&call, "width");
  put_double(&call, 128);
  put_text(&call, "height");
  put_double(&call, 128);
  put_text(&call, "contentMode");
  put_byte(&call, kInteger);
  call.size += 4;
  put_text(&call, "jpegFormat");
  put_byte(&call, kTrue);
  quorvin_engine_send(engine, "quorvin", call.bytes, call.size, on_reply, &answer);
  while (!answer.came) quorvin_engine_run(engine, -1);

  quorvin_engine_destroy(engine);
  return fclose(answer.file) == 0 && answer.written ? 0 : 1;
}
