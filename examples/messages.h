/* The messages of the channels: calls that are written, replies and events that are read. */
#ifndef EXAMPLES_MESSAGES_H_
#define EXAMPLES_MESSAGES_H_

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

/* A method call while it is written: its name, then one value as its arguments. */
typedef struct Call {
  uint8_t* bytes;
  size_t size;
  size_t room;
} Call;

Call call_begin(const char* method);
void call_free(Call* call);

void write_null(Call* call);
void write_bool(Call* call, bool value);
void write_integer(Call* call, int32_t value);
void write_text(Call* call, const char* text);
/* As many values follow. */
void write_list(Call* call, size_t count);
/* As many pairs follow, a text and a value each. */
void write_map(Call* call, size_t count);

/* One value inside a message, good for as long as that. Large integers and packed lists of numbers,
 * which the engine never sends, are not read. */
typedef struct Value {
  enum {
    VALUE_MISSING,
    VALUE_NULL,
    VALUE_BOOL,
    VALUE_INTEGER,
    VALUE_DOUBLE,
    VALUE_TEXT,
    VALUE_BYTES,
    VALUE_LIST,
    VALUE_MAP
  } type;
  int64_t integer; /* also of a bool, 0 or 1 */
  double number;
  size_t count;         /* bytes of a text or of bytes, values of a list, pairs of a map */
  const uint8_t* bytes; /* of a text, which no zero ends, or of bytes; what a list or map holds */
  const uint8_t* start; /* of the message */
  const uint8_t* end;
} Value;

/* Whether a reply or an event tells of success; its value then, else the error's text. The value is
 * missing where there is no reply, or none that can be read. */
bool read_reply(const uint8_t* message, size_t size, Value* value);

/* The next value of a list, which gets shorter by it; false at its end. */
bool next_value(Value* list, Value* value);
/* Of this key; missing where it is none of the map's, or this is no map. */
Value value_of(const Value* map, const char* key);
bool is_text(const Value* value, const char* text);

#endif /* EXAMPLES_MESSAGES_H_ */
