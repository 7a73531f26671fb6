#include "messages.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum {
  kNull = 0,
  kTrue = 1,
  kFalse = 2,
  kInteger32 = 3,
  kInteger64 = 4,
  kDouble = 6,
  kText = 7,
  kBytes = 8,
  kList = 12,
  kMap = 13,
  /* The first byte of a size that takes two more bytes, or four. */
  kSize16 = 254,
  kSize32 = 255,
  /* Of the first byte of a reply. */
  kSuccess = 0,
  /* Deeper than anything that is sent. */
  kDeepest = 32
};

static void write_bytes(Call* call, const void* bytes, size_t size) {
  if (call->room - call->size < size) {
    call->room = 2 * call->room + size;
    call->bytes = realloc(call->bytes, call->room);
    if (call->bytes == NULL) {
      perror("A message cannot be written");
      abort();
    }
  }
  memcpy(call->bytes + call->size, bytes, size);
  call->size += size;
}

static void write_byte(Call* call, uint8_t byte) {
  write_bytes(call, &byte, 1);
}

/* Least significant byte first. */
static void write_number(Call* call, uint32_t number, int size) {
  for (int i = 0; i < size; ++i) write_byte(call, (uint8_t)(number >> (8 * i)));
}

static void write_size(Call* call, size_t size) {
  if (size < kSize16) {
    write_byte(call, (uint8_t)size);
  } else if (size <= UINT16_MAX) {
    write_byte(call, kSize16);
    write_number(call, (uint32_t)size, 2);
  } else {
    write_byte(call, kSize32);
    write_number(call, (uint32_t)size, 4);
  }
}

Call call_begin(const char* method) {
  Call call = {0};
  write_text(&call, method);
  return call;
}

void call_free(Call* call) {
  free(call->bytes);
}

void write_null(Call* call) {
  write_byte(call, kNull);
}

void write_bool(Call* call, bool value) {
  write_byte(call, value ? kTrue : kFalse);
}

void write_integer(Call* call, int32_t value) {
  write_byte(call, kInteger32);
  write_number(call, (uint32_t)value, 4);
}

void write_text(Call* call, const char* text) {
  write_byte(call, kText);
  write_size(call, strlen(text));
  write_bytes(call, text, strlen(text));
}

void write_list(Call* call, size_t count) {
  write_byte(call, kList);
  write_size(call, count);
}

void write_map(Call* call, size_t count) {
  write_byte(call, kMap);
  write_size(call, count);
}

/* A place in a message that never gets behind its end. */
typedef struct Place {
  const uint8_t* start;
  const uint8_t* next;
  const uint8_t* end;
} Place;

static bool take(Place* place, size_t size, const uint8_t** bytes) {
  if ((size_t)(place->end - place->next) < size) return false;
  *bytes = place->next;
  place->next += size;
  return true;
}

static bool take_number(Place* place, size_t size, uint64_t* number) {
  const uint8_t* bytes;
  if (!take(place, size, &bytes)) return false;
  *number = 0;
  for (size_t i = size; i-- > 0;) *number = *number << 8 | bytes[i];
  return true;
}

static bool take_size(Place* place, size_t* size) {
  uint64_t number;
  if (!take_number(place, 1, &number)) return false;
  if (number == kSize16 && !take_number(place, 2, &number)) return false;
  if (number == kSize32 && !take_number(place, 4, &number)) return false;
  *size = (size_t)number;
  return true;
}

/* The place of doubles is a multiple of eight. */
static bool take_double(Place* place, double* value) {
  const uint8_t* padding;
  uint64_t bits;
  if (!take(place, (size_t) - (place->next - place->start) % 8, &padding)) return false;
  if (!take_number(place, 8, &bits)) return false;
  memcpy(value, &bits, sizeof bits);
  return true;
}

static bool take_integer(Place* place, size_t size, int64_t* integer) {
  uint64_t number;
  if (!take_number(place, size, &number)) return false;
  *integer = size == 4 ? (int32_t)number : (int64_t)number;
  return true;
}

/* One value; of a list or map no more than its size. */
static bool take_head(Place* place, Value* value) {
  uint64_t type;
  *value = (Value){.start = place->start, .end = place->end};
  if (!take_number(place, 1, &type)) return false;
  switch (type) {
    case kNull:
      value->type = VALUE_NULL;
      return true;
    case kTrue:
    case kFalse:
      value->type = VALUE_BOOL;
      value->integer = type == kTrue;
      return true;
    case kInteger32:
    case kInteger64:
      value->type = VALUE_INTEGER;
      return take_integer(place, type == kInteger32 ? 4 : 8, &value->integer);
    case kDouble:
      value->type = VALUE_DOUBLE;
      return take_double(place, &value->number);
    case kText:
    case kBytes:
      value->type = type == kText ? VALUE_TEXT : VALUE_BYTES;
      return take_size(place, &value->count) && take(place, value->count, &value->bytes);
    case kList:
    case kMap:
      value->type = type == kList ? VALUE_LIST : VALUE_MAP;
      if (!take_size(place, &value->count)) return false;
      value->bytes = place->next;
      return true;
    default:
      return false;
  }
}

/* One value with all that it holds. */
static bool take_value(Place* place, int depth, Value* value) {
  Value held;
  if (depth > kDeepest || !take_head(place, value)) return false;
  size_t left = value->type == VALUE_LIST || value->type == VALUE_MAP ? value->count : 0;
  for (; left > 0; --left) {
    if (value->type == VALUE_MAP && !take_value(place, depth + 1, &held)) return false;
    if (!take_value(place, depth + 1, &held)) return false;
  }
  return true;
}

bool read_reply(const uint8_t* message, size_t size, Value* value) {
  Place place = {message, message, message + size};
  Value code;
  uint64_t envelope;
  *value = (Value){0};
  if (size == 0 || !take_number(&place, 1, &envelope)) return false;
  if (envelope != kSuccess && !take_value(&place, 0, &code)) return false;
  const bool is_read = take_value(&place, 0, value);
  if (is_read && envelope != kSuccess) return false;
  if (is_read && place.next == place.end) return true;
  *value = (Value){0};
  return false;
}

/* What is below here was read once already, so that it can be read again. */
bool next_value(Value* list, Value* value) {
  Place place = {list->start, list->bytes, list->end};
  if (list->type != VALUE_LIST || list->count == 0) return false;
  list->count -= 1;
  if (!take_value(&place, 0, value)) return false;
  list->bytes = place.next;
  return true;
}

Value value_of(const Value* map, const char* key) {
  Place place = {map->start, map->bytes, map->end};
  Value found;
  Value value;
  size_t left = map->type == VALUE_MAP ? map->count : 0;
  for (; left > 0; --left) {
    if (!take_value(&place, 0, &found) || !take_value(&place, 0, &value)) break;
    if (is_text(&found, key)) return value;
  }
  return (Value){0};
}

bool is_text(const Value* value, const char* text) {
  return value->type == VALUE_TEXT && value->count == strlen(text) &&
         memcmp(value->bytes, text, value->count) == 0;
}
