#include "tool/serve/answers/file_response.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>

#include "posix/write_all.h"

namespace quorvin {
namespace {

constexpr const char* kTag = "\"tag\"";

std::shared_ptr<const OpenFile> fileOf(std::size_t size) {
  FileDescriptor file(::memfd_create("file", MFD_CLOEXEC));
  EXPECT_EQ(writeAll(file.get(), std::vector<std::uint8_t>(size)), 0);
  return openFileOf(std::move(file));
}

std::string headerOf(const Response& response, std::string_view name) {
  for (const auto& [key, value] : response.headers) {
    if (key == name) return value;
  }
  return "";
}

TEST(FileResponse, IsTheWholeFile) {
  const Response response = fileResponse({}, fileOf(100), "video/mp4", kTag);
  EXPECT_EQ(response.status, kOk);
  EXPECT_EQ(sizeOf(response.body), 100U);
  EXPECT_EQ(response.contentType, "video/mp4");
  EXPECT_EQ(headerOf(response, "ETag"), kTag);
  EXPECT_EQ(headerOf(response, "Accept-Ranges"), "bytes");
  EXPECT_EQ(headerOf(response, "Content-Range"), "");
}

TEST(FileResponse, IsThePartThatIsAskedFor) {
  Request request;
  request.range = "bytes=90-";
  for (const char* ifRange : {"", kTag}) {
    request.ifRange = ifRange;
    const Response response = fileResponse(request, fileOf(100), "video/mp4", kTag);
    EXPECT_EQ(response.status, kPartialContent);
    EXPECT_EQ(sizeOf(response.body), 10U);
    EXPECT_EQ(headerOf(response, "Content-Range"), "bytes 90-99/100");
  }
}

TEST(FileResponse, IsWholeForWhoHasAnotherFilesBeginning) {
  Request request;
  request.range = "bytes=90-";
  for (const char* ifRange : {"\"other\"", "W/\"tag\"", "Sun, 06 Nov 1994 08:49:37 GMT"}) {
    request.ifRange = ifRange;
    const Response response = fileResponse(request, fileOf(100), "video/mp4", kTag);
    EXPECT_EQ(response.status, kOk) << ifRange;
    EXPECT_EQ(sizeOf(response.body), 100U);
  }
}

TEST(FileResponse, SaysHowLongAFileIsThatEndsBefore) {
  Request request;
  request.range = "bytes=100-";
  const Response response = fileResponse(request, fileOf(100), "video/mp4", kTag);
  EXPECT_EQ(response.status, kRangeNotSatisfiable);
  EXPECT_EQ(headerOf(response, "Content-Range"), "bytes */100");
}

TEST(Disposition, CarriesAnyName) {
  EXPECT_EQ(dispositionOf("IMG_1.JPG"),
            "attachment; filename=\"IMG_1.JPG\"; filename*=UTF-8''IMG_1.JPG");
  EXPECT_EQ(dispositionOf("a\"\\\r\nb%.jpg"),
            "attachment; filename=\"a____b_.jpg\"; filename*=UTF-8''a%22%5C%0D%0Ab%25.jpg");
  EXPECT_EQ(dispositionOf("ä.jpg"), "attachment; filename=\"__.jpg\"; filename*=UTF-8''%C3%A4.jpg");
  EXPECT_EQ(dispositionOf("\xFF"), "attachment; filename=\"___\"; filename*=UTF-8''%EF%BF%BD");
}

TEST(OpenFile, IsARegularFile) {
  EXPECT_EQ(openFileOf(FileDescriptor()), nullptr);
  EXPECT_EQ(openFileOf(FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC))), nullptr);
  EXPECT_EQ(fileOf(7)->size, 7U);
}

}  // namespace
}  // namespace quorvin
