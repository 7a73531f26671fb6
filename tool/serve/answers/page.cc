#include "tool/serve/answers/page.h"

#include <algorithm>
#include <string>

#include "tool/serve/reading/entity_tag.h"

namespace quorvin {
namespace {

constexpr std::string_view kFirstFile = "index.html";
/// In it names change with contents.
constexpr std::string_view kNamedByContent = "assets/";

const PageFile* pageFileAt(const std::vector<std::string>& path) {
  std::string name;
  for (const std::string& part : path) name += (name.empty() ? "" : "/") + part;
  if (name.empty() && path.size() == 1) name = kFirstFile;
  const auto found = std::ranges::find(pageFiles(), name, &PageFile::path);
  return found == pageFiles().end() ? nullptr : &*found;
}

ByteBuffer constant(std::span<const std::uint8_t> bytes) {
  return {nullptr, bytes};
}

}  // namespace

Response pageResponse(const Request& request) {
  const PageFile* file = pageFileAt(request.target.path);
  if (file == nullptr) return Response::text(kNotFound, "There is nothing here.");
  const bool isLasting = file->path.starts_with(kNamedByContent);
  Response response{.contentType = std::string(file->contentType)};
  if (file->contentType.starts_with("text/")) response.contentType += "; charset=utf-8";
  response.headers = {
      {"Cache-Control", isLasting ? "private, max-age=31536000, immutable" : "private, no-cache"},
      {"Vary", "Accept-Encoding"}};
  const bool isCompressed =
      !file->compressed.empty() && request.acceptEncoding.find("gzip") != std::string::npos;
  const std::string tag = "\"" + std::string(file->tag) + (isCompressed ? "-gzip\"" : "\"");
  response.headers.emplace_back("ETag", tag);
  if (namesTag(request.ifNoneMatch, tag)) {
    response.status = kNotModified;
    return response;
  }
  if (isCompressed) response.headers.emplace_back("Content-Encoding", "gzip");
  response.body = constant(isCompressed ? file->compressed : file->content);
  return response;
}

}  // namespace quorvin
