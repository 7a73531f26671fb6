#include "tool/serve/answers/assets.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>
#include <utility>

#include "tool/serve/answers/file_response.h"
#include "tool/serve/reading/entity_tag.h"

namespace quorvin {
namespace {

constexpr int kLargestThumbnail = 2048;

Response notThere() {
  return Response::text(kNotFound, "There is nothing here.");
}

std::optional<int> thumbnailSize(const RequestTarget& target) {
  const std::string* text = target.parameter("size");
  if (text == nullptr) return std::nullopt;
  int size = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), size);
  const bool isNumber = error == std::errc() && end == text->data() + text->size();
  if (!isNumber || size < 1 || size > kLargestThumbnail) return std::nullopt;
  return size;
}

/// The file that the asset came as: of a live photo the still.
std::shared_ptr<const StoredResource> originalOf(const FoundAsset& found) {
  const auto named = std::ranges::find_if(found.files, [](const auto& file) {
    return file->type == PHAssetResourceType::photo || file->type == PHAssetResourceType::video;
  });
  if (named != found.files.end()) return *named;
  return found.files.empty() ? nullptr : found.files.front();
}

}  // namespace

void Assets::answer(const Request& request, ExchangePtr exchange) {
  const auto& path = request.target.path;
  if (path.size() != 3 || path[1].empty()) return exchange->answer(notThere());
  const std::string& what = path[2];
  if (what != "thumbnail" && what != "image" && what != "video" && what != "original") {
    return exchange->answer(notThere());
  }
  if (what == "thumbnail" && !thumbnailSize(request.target)) {
    return exchange->answer(
        Response::text(kBadRequest, "A thumbnail has a size of 1 to 2048 pixels."));
  }
  desk_.find(path[1], [this, request, what, exchange](AssetSearch found) {
    if (!found) return exchange->answer(Response::text(kUnavailable, found.error().sentence()));
    if (*found == nullptr) return exchange->answer(notThere());
    answerFound(request, what, *found, exchange);
  });
}

void Assets::answerFound(const Request& request, const std::string& what, const Found& found,
                         ExchangePtr exchange) {
  const auto size = thumbnailSize(request.target);
  const bool isThumbnail = what == "thumbnail";
  const std::string tag =
      entityTagOf({what, isThumbnail ? std::to_string(*size) : "", found->version()});
  if (namesTag(request.ifNoneMatch, tag)) {
    return exchange->answer({.status = kNotModified,
                             .headers = {{"Cache-Control", "private, no-cache"}, {"ETag", tag}}});
  }
  if (what == "original") return answerOriginal(request, found, tag, std::move(exchange));
  if (what == "video") return videos_.answer(request, found, tag, std::move(exchange));
  const auto type = found->asset->mediaType;
  if (type != PHAssetMediaType::image && type != PHAssetMediaType::video) {
    return exchange->answer(Response::text(kNotFound, "It has no picture."));
  }
  const auto longest = std::max(found->asset->pixelWidth, found->asset->pixelHeight);
  pictures_.answer({.asset = found->asset->localIdentifier,
                    .side = isThumbnail ? *size : static_cast<double>(longest),
                    .tag = tag},
                   std::move(exchange));
}

void Assets::answerOriginal(const Request& request, const Found& found, const std::string& tag,
                            ExchangePtr exchange) {
  const auto original = originalOf(*found);
  auto file = original == nullptr ? nullptr : openFileOf(original->file.open());
  if (file == nullptr) return exchange->answer(notThere());
  Response response = fileResponse(request, std::move(file), "application/octet-stream", tag);
  response.headers.emplace_back("Content-Disposition", dispositionOf(original->originalFilename));
  exchange->answer(std::move(response));
}

}  // namespace quorvin
