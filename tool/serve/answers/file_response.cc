#include "tool/serve/answers/file_response.h"

#include <sys/stat.h>

#include <utility>
#include <variant>

#include "codec/utf8.h"
#include "tool/serve/reading/byte_range.h"

namespace quorvin {

Response fileResponse(const Request& request, std::shared_ptr<const OpenFile> file,
                      std::string contentType, const std::string& tag) {
  const std::uint64_t size = file->size;
  Response response{.contentType = std::move(contentType)};
  response.headers = {
      {"Accept-Ranges", "bytes"}, {"Cache-Control", "private, no-cache"}, {"ETag", tag}};
  // A part of what the browser has not got the beginning of is no use to it.
  const bool isCurrent = request.ifRange.empty() || request.ifRange == tag;
  const RangeAnswer range = isCurrent ? readRange(request.range, size) : RangeAnswer(WholeFile{});
  if (std::holds_alternative<NoSuchRange>(range)) {
    response = Response::text(kRangeNotSatisfiable, "The file ends before that.");
    response.headers.emplace_back("Content-Range", "bytes */" + std::to_string(size));
    return response;
  }
  FilePart part{.file = std::move(file), .first = 0, .size = size};
  if (const auto* bytes = std::get_if<ByteRange>(&range)) {
    part.first = bytes->first;
    part.size = bytes->size;
    response.status = kPartialContent;
    response.headers.emplace_back("Content-Range",
                                  "bytes " + std::to_string(bytes->first) + "-" +
                                      std::to_string(bytes->first + bytes->size - 1) + "/" +
                                      std::to_string(size));
  }
  response.body = std::move(part);
  return response;
}

std::shared_ptr<const OpenFile> openFileOf(FileDescriptor file) {
  struct stat status = {};
  if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
  return std::make_shared<const OpenFile>(
      OpenFile{std::move(file), static_cast<std::uint64_t>(status.st_size)});
}

std::string dispositionOf(const std::string& fileName) {
  const std::string name = validUtf8(fileName);
  std::string plain;
  for (const char character : name) {
    const bool isPlain = character >= 0x20 && character < 0x7F && character != '"' &&
                         character != '\\' && character != '%';
    plain.push_back(isPlain ? character : '_');
  }
  return "attachment; filename=\"" + plain + "\"; filename*=UTF-8''" + percentEncoded(name);
}

}  // namespace quorvin
