#include "tool/serve/answers/pictures.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <utility>
#include <variant>

#include "posix/write_all.h"
#include "tool/serve/answers/file_response.h"

namespace quorvin {
namespace {

constexpr std::size_t kMostRenderings = 8;
constexpr std::size_t kLargestInMemory = 256 << 10;

/// The bytes in a file without a name, or as they are where that cannot be.
ResponseBody onDisk(const ByteBuffer& bytes, const std::string& folder) {
  FileDescriptor file(::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!file || writeAll(file.get(), bytes.bytes()) != 0) return bytes;
  return FilePart{.file = openFileOf(std::move(file)), .first = 0, .size = bytes.size()};
}

Response pictureIn(const FlutterReply& reply, const std::string& tag, const std::string& folder) {
  if (const auto* error = std::get_if<FlutterError>(&reply)) {
    const bool isGone = error->message.starts_with("Asset not found");
    const std::string_view reason = error->details.text();
    return Response::text(isGone ? kNotFound : kConflict, reason.empty() ? error->message : reason);
  }
  const auto* value = std::get_if<Value>(&reply);
  if (value == nullptr) return Response::text(kUnavailable, "The server ends.");
  const auto* bytes = value->as<ByteBuffer>();
  if (bytes == nullptr) return Response::text(kNotFound, "It has no picture.");
  const bool isLarge = bytes->size() > kLargestInMemory;
  return {.contentType = "image/jpeg",
          .body = isLarge ? onDisk(*bytes, folder) : ResponseBody(*bytes),
          .headers = {{"Cache-Control", "private, no-cache"}, {"ETag", tag}}};
}

}  // namespace

void Pictures::answer(Picture picture, ExchangePtr exchange) {
  waiting_.push_back({std::move(picture), std::move(exchange)});
  renderNext();
}

void Pictures::renderNext() {
  while (rendering_ < kMostRenderings && !waiting_.empty()) {
    const Waiting next = std::move(waiting_.back());
    waiting_.pop_back();
    if (!next.exchange->isWanted()) continue;
    ++rendering_;
    calls_.call("getThumbnail",
                {{"assetId", next.picture.asset},
                 {"width", next.picture.side},
                 {"height", next.picture.side},
                 {"contentMode", 0},
                 {"jpegFormat", true}},
                [this, next](const FlutterReply& reply) {
                  --rendering_;
                  next.exchange->answer(pictureIn(reply, next.picture.tag, folder_));
                  renderNext();
                });
  }
}

}  // namespace quorvin
