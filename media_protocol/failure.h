// A worker fails in the platform's words: in the library's domain, with one plain sentence.
#pragma once

#include "platform_linux/errors/failure.h"  // IWYU pragma: export
