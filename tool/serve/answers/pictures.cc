#include "tool/serve/answers/pictures.h"

#include <utility>
#include <variant>

namespace quorvin {
namespace {

constexpr std::size_t kMostRenderings = 8;

Response pictureIn(FlutterReply reply, const std::string& tag) {
  if (const auto* error = std::get_if<FlutterError>(&reply)) {
    const bool isGone = error->message.starts_with("Asset not found");
    const std::string_view reason = error->details.text();
    return Response::text(isGone ? kNotFound : kConflict, reason.empty() ? error->message : reason);
  }
  auto* value = std::get_if<Value>(&reply);
  if (value == nullptr) return Response::text(kUnavailable, "The server ends.");
  auto* bytes = value->as<ByteBuffer>();
  if (bytes == nullptr) return Response::text(kNotFound, "It has no picture.");
  return {.contentType = "image/jpeg",
          .body = std::move(*bytes),
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
                [this, next](FlutterReply reply) {
                  --rendering_;
                  next.exchange->answer(pictureIn(std::move(reply), next.picture.tag));
                  renderNext();
                });
  }
}

}  // namespace quorvin
