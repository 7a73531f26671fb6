#include "tool/serve/answers/uploads.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <utility>
#include <variant>

#include "media_protocol/letter_case.h"
#include "posix/file_descriptor.h"
#include "posix/write_all.h"

namespace quorvin {
namespace {

constexpr std::uint64_t kLargestImage = std::uint64_t{512} << 20;
constexpr std::uint64_t kLargestVideo = std::uint64_t{4} << 30;
/// The folder's file system keeps so much for others.
constexpr std::uint64_t kSpaceLeft = std::uint64_t{64} << 20;
constexpr std::size_t kLongestName = 255;
constexpr std::array<std::string_view, 10> kVideoEndings{".3g2", ".3gp", ".avi", ".m2ts", ".m4v",
                                                         ".mkv", ".mov", ".mp4", ".mts",  ".webm"};

bool isVideo(const Request& request, const std::string& name) {
  if (request.contentType.starts_with("video/")) return true;
  if (request.contentType.starts_with("image/")) return false;
  const std::string ending = lowerCase(std::filesystem::path(name).extension().string());
  return std::ranges::find(kVideoEndings, ending) != kVideoEndings.end();
}

bool isFileName(const std::string& name) {
  return !name.empty() && name.size() <= kLongestName && name != "." && name != ".." &&
         name.find('/') == std::string::npos;
}

bool hasRoomFor(const std::string& folder, std::uint64_t size) {
  struct statvfs system = {};
  if (::statvfs(folder.c_str(), &system) != 0) return false;
  return system.f_bavail * system.f_frsize >= size + kSpaceLeft;
}

Response noRoom() {
  return Response::text(kInsufficientStorage, "The disk has too little room for this file.");
}

/// A folder with one file, removed with it.
struct UploadedFile {
  explicit UploadedFile(std::string itsFolder, const std::string& name)
      : folder(std::move(itsFolder)), path(folder + "/" + name) {}
  ~UploadedFile() {
    ::unlink(path.c_str());
    ::rmdir(folder.c_str());
  }
  UploadedFile(const UploadedFile&) = delete;
  UploadedFile& operator=(const UploadedFile&) = delete;

  const std::string folder;
  const std::string path;
};

/// A file that is to be saved, first as what it seems to be, then as what else it may be.
struct Saving {
  std::shared_ptr<const UploadedFile> file;
  std::optional<std::string> album;
  bool isVideo = false;
  ExchangePtr exchange;
};

std::string inJson(std::string_view identifier) {
  std::string text;
  for (const char character : identifier) {
    if (character == '"' || character == '\\') text.push_back('\\');
    text.push_back(character);
  }
  return "{\"id\": \"" + text + "\"}\n";
}

Response saved(const Value& record) {
  const auto* map = record.as<Map>();
  const Value* identifier = map == nullptr ? nullptr : find(*map, "id");
  const std::string json = inJson(identifier == nullptr ? "" : identifier->text());
  return {.status = kCreated,
          .contentType = "application/json",
          .body = ByteBuffer(std::vector<std::uint8_t>(json.begin(), json.end())),
          .headers = {{"Cache-Control", "no-store"}}};
}

Response notSaved(const FlutterError& error) {
  const std::string_view reason = error.details.text();
  if (reason == "Collection not found") return Response::text(kNotFound, "There is no such album.");
  return Response::text(kUnprocessable, reason.empty() ? error.message : reason);
}

void save(EngineCalls& calls, const Saving& saving, std::optional<FlutterError> refusal) {
  Map arguments{{"filePath", saving.file->path}};
  if (saving.album) arguments.emplace_back("collectionId", *saving.album);
  calls.call(saving.isVideo ? "saveVideo" : "saveImage", std::move(arguments),
             [&calls, saving, refusal = std::move(refusal)](FlutterReply reply) {
               if (const auto* record = std::get_if<Value>(&reply)) {
                 return saving.exchange->answer(saved(*record));
               }
               const auto* error = std::get_if<FlutterError>(&reply);
               if (error == nullptr) {
                 return saving.exchange->answer(Response::text(kUnavailable, "The server ends."));
               }
               if (refusal) return saving.exchange->answer(notSaved(*refusal));
               Saving other = saving;
               other.isVideo = !saving.isVideo;
               save(calls, other, *error);
             });
}

class FileUpload final : public Upload {
 public:
  FileUpload(EngineCalls& calls, std::shared_ptr<const UploadedFile> file, FileDescriptor open,
             std::optional<std::string> album, bool isVideo)
      : calls_(calls),
        file_(std::move(file)),
        open_(std::move(open)),
        album_(std::move(album)),
        isVideo_(isVideo) {}

  std::optional<Response> take(std::span<const std::uint8_t> piece) override {
    const int error = writeAll(open_.get(), piece);
    if (error == 0) return std::nullopt;
    return noRoom();
  }

  void finish(ExchangePtr exchange) override {
    open_ = FileDescriptor();
    save(calls_, {file_, album_, isVideo_, std::move(exchange)}, std::nullopt);
  }

 private:
  EngineCalls& calls_;
  const std::shared_ptr<const UploadedFile> file_;
  FileDescriptor open_;
  const std::optional<std::string> album_;
  const bool isVideo_;
};

}  // namespace

std::variant<Response, std::unique_ptr<Upload>> Uploads::begin(const Request& request) {
  const std::string* name = request.target.parameter("name");
  if (name == nullptr || !isFileName(*name)) {
    return Response::text(kBadRequest, "An upload names its file: /upload?name=NAME.");
  }
  if (!request.contentLength) {
    return Response::text(kLengthRequired, "An upload tells its size in Content-Length.");
  }
  const bool video = isVideo(request, *name);
  if (*request.contentLength > (video ? kLargestVideo : kLargestImage)) {
    return Response::text(kPayloadTooLarge, video ? "A video may have at most 4 GiB."
                                                  : "A photo may have at most 512 MiB.");
  }
  if (!hasRoomFor(folder_, *request.contentLength)) return noRoom();
  const std::string folder = folder_ + "/" + std::to_string(++last_);
  if (::mkdir(folder.c_str(), S_IRWXU) != 0) return noRoom();
  auto file = std::make_shared<const UploadedFile>(folder, *name);
  FileDescriptor open(::open(file->path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!open) return Response::text(kUnavailable, "The file cannot be taken now.");
  const std::string* album = request.target.parameter("album");
  return std::make_unique<FileUpload>(calls_, std::move(file), std::move(open),
                                      album == nullptr ? std::nullopt : std::optional(*album),
                                      video);
}

}  // namespace quorvin
