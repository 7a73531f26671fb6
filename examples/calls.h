/* The calls that all of the examples make. */
#ifndef EXAMPLES_CALLS_H_
#define EXAMPLES_CALLS_H_

#include "messages.h"

/* The engine's numbers. */
enum { kAllMedia = 0, kImages = 1 };

/* The galleries, smart albums among them. */
Call galleries_call(int32_t media_type, bool without_empty);
/* The records from `first` up to `last`, one past it; the newest first. */
Call page_call(const char* gallery, int32_t first, int32_t last, int32_t media_type);
/* A JPEG within a square of this many pixels, or one that covers it. */
Call thumbnail_call(const char* asset, int32_t size, bool covers);

#endif /* EXAMPLES_CALLS_H_ */
