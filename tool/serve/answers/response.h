// What is answered to a request, whoever carries it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "core/platform/value.h"
#include "posix/file_descriptor.h"

namespace quorvin {

enum HttpStatus : unsigned {
  kOk = 200,
  kCreated = 201,
  kPartialContent = 206,
  kSeeOther = 303,
  kNotModified = 304,
  kBadRequest = 400,
  kUnauthorized = 401,
  kForbidden = 403,
  kNotFound = 404,
  kMethodNotAllowed = 405,
  kConflict = 409,
  kLengthRequired = 411,
  kPayloadTooLarge = 413,
  kUnsupportedMediaType = 415,
  kRangeNotSatisfiable = 416,
  kUnprocessable = 422,
  kUpgradeRequired = 426,
  kServerError = 500,
  kUnavailable = 503,
  kInsufficientStorage = 507,
};

/// A file that is open for reading, and its size when it was opened.
struct OpenFile {
  FileDescriptor file;
  std::uint64_t size = 0;
};

/// Of a file that stays open for as long as it is needed.
struct FilePart {
  std::shared_ptr<const OpenFile> file;
  std::uint64_t first = 0;
  std::uint64_t size = 0;
};

using ResponseBody = std::variant<ByteBuffer, FilePart>;

inline std::uint64_t sizeOf(const ResponseBody& body) {
  if (const auto* part = std::get_if<FilePart>(&body)) return part->size;
  return std::get<ByteBuffer>(body).size();
}

struct Response {
  unsigned status = kOk;
  std::string contentType;
  ResponseBody body;
  std::vector<std::pair<std::string, std::string>> headers;

  /// One sentence, for people.
  static Response text(unsigned status, std::string_view sentence);
};

}  // namespace quorvin
