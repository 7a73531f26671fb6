// `quorvin call`: arguments, replies and exit statuses.
#include <sys/stat.h>

#include "testing/engine/tool_fixture.h"

namespace quorvin {
namespace {

class Call : public ToolFixture {
 protected:
  Ran send(Words words) {
    words.insert(words.begin(), {"--library", kImportedLibrary, "call"});
    return quorvin(words);
  }

  std::string gallery() {
    const Json galleries = call(kImportedLibrary, "getGalleryList", galleryArguments)["result"];
    for (const Json& gallery : galleries) {
      if (gallery["title"] == "Recents") return gallery["id"];
    }
    ADD_FAILURE() << "no gallery of everything";
    return {};
  }

  /// A page that ends at `end`, which is JSON.
  Ran page(const std::string& end) {
    return send({"getAssetList", R"({"collectionId": ")" + gallery() + R"(", "start": 0, "end": )" +
                                     end + R"(, "sort": 0, "mediaType": 1})"});
  }

  std::string thumbnailArguments() {
    const Json asset = page("1").json()["result"][0];
    return Json{{"assetId", asset["id"]},
                {"width", 64.0},
                {"height", 64.0},
                {"contentMode", 0},
                {"jpegFormat", true}}
        .dump();
  }

  void expectNoSideFiles(const fs::path& where, std::ptrdiff_t files) {
    EXPECT_EQ(std::distance(fs::directory_iterator(where), fs::directory_iterator()), files);
  }

  const std::string galleryArguments =
      R"({"withAllPhotos": true, "filterEmptyAsset": true, "withSmartAlbum": true, "mediaType": 0})";
};

TEST_F(Call, PrintsAResultOnOneLine) {
  const Ran ran = send({"getPermission"});
  EXPECT_EQ(ran.status, 0);
  EXPECT_EQ(ran.out, "{\"result\":true}\n");
  EXPECT_EQ(ran.err, "");
}

TEST_F(Call, PrintsAnErrorAndFails) {
  const Ran ran = send({"getGalleryList"});
  EXPECT_EQ(ran.status, 1);
  EXPECT_EQ(
      ran.out,
      "{\"error\":{\"code\":\"Error\",\"message\":\"Invalid arguments\",\"details\":null}}\n");
}

TEST_F(Call, SaysWhatIsNotImplemented) {
  const Ran ran = send({"getpermission"});
  EXPECT_EQ(ran.status, 1);
  EXPECT_EQ(ran.out, "{\"notImplemented\":true}\n");
}

TEST_F(Call, AnIntegerIsNoDouble) {
  EXPECT_EQ(page("2").json()["result"].size(), 2U);
  for (const char* number : {"2.0", "2e0", "0.2E1"}) {
    EXPECT_EQ(page(number).json()["error"]["message"], "Invalid arguments") << number;
  }
}

TEST_F(Call, PassesBigIntegersOn) {
  EXPECT_TRUE(page("9223372036854775807").json()["result"].is_array());
  // More than an integer of the channel holds: another type.
  EXPECT_EQ(page("18446744073709551615").json()["error"]["message"], "Invalid arguments");
  const Ran beyond = page("18446744073709551616");
  EXPECT_EQ(beyond.status, 2);
  EXPECT_EQ(beyond.err, "quorvin: the arguments cannot be read: an integer is beyond 64 bits\n");
}

TEST_F(Call, RefusesWhatIsNoJson) {
  for (const char* text : {"", "{", "{} {}", "{'a': 1}", "nul", "\"\xff\""}) {
    const Ran ran = send({"getPermission", text});
    EXPECT_EQ(ran.status, 2) << text;
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(ran.err.find("quorvin: the arguments cannot be read: "), 0U) << ran.err;
  }
}

TEST_F(Call, ReadsArgumentsFromStandardInput) {
  standardInput = galleryArguments + "\n";
  const Ran ran = send({"getGalleryList", "-"});
  EXPECT_EQ(ran.status, 0);
  EXPECT_EQ(ran.json(), call(kImportedLibrary, "getGalleryList", galleryArguments));
  standardInput = "";
  EXPECT_EQ(send({"getGalleryList", "-"}).status, 2);
}

TEST_F(Call, PrintsTheSizeOfBytesAndWritesThemToAFile) {
  const fs::path out = folder() / "out" / "thumbnail.jpg";
  fs::create_directory(out.parent_path());
  const Ran ran = send({"getThumbnail", thumbnailArguments(), "--out", out});
  EXPECT_EQ(ran.status, 0) << ran.err;
  const std::string bytes = contents(out);
  EXPECT_EQ(ran.json(), (Json{{"result", {{"bytes", bytes.size()}}}}));
  EXPECT_EQ(bytes.substr(0, 3), "\xff\xd8\xff");
  EXPECT_EQ(bytes.substr(bytes.size() - 2), "\xff\xd9");
  expectNoSideFiles(out.parent_path(), 1);
}

TEST_F(Call, ReplacesAFileAndKeepsALink) {
  const fs::path out = folder() / "old.jpg";
  write(out, std::string(1'000'000, 'x'));
  fs::create_symlink("old.jpg", folder() / "link.jpg");
  const Ran ran = send({"getThumbnail", thumbnailArguments(), "--out", folder() / "link.jpg"});
  EXPECT_EQ(ran.status, 0) << ran.err;
  EXPECT_TRUE(fs::is_symlink(folder() / "link.jpg"));
  EXPECT_EQ(fs::file_size(out), ran.json()["result"]["bytes"].get<std::size_t>());
}

TEST_F(Call, WritesIntoAPipeOrDeviceInsteadOfReplacingIt) {
  const fs::path pipe = folder() / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const std::string script =
      R"(cat "$1" >"$2" & "$3" --library "$4" call getThumbnail "$5" --out "$1"; )"
      R"(status=$?; wait; exit $status)";
  const Ran ran = run({"sh", "-c", script, "sh", pipe, folder() / "copy", QUORVIN_TOOL,
                       kImportedLibrary, thumbnailArguments()});
  EXPECT_EQ(ran.status, 0) << ran.err;
  EXPECT_TRUE(fs::is_fifo(pipe));
  EXPECT_EQ(fs::file_size(folder() / "copy"), ran.json()["result"]["bytes"].get<std::size_t>());
}

TEST_F(Call, SaysWhyAFileCannotBeWritten) {
  const std::string arguments = thumbnailArguments();
  const Ran missing = send({"getThumbnail", arguments, "--out", folder() / "no" / "such.jpg"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_TRUE(missing.json().contains("result"));
  EXPECT_NE(missing.err.find("such.jpg: No such file or directory\n"), std::string::npos);
  const Ran directory = send({"getThumbnail", arguments, "--out", folder()});
  EXPECT_EQ(directory.status, 1);
  EXPECT_NE(directory.err.find(": Is a directory\n"), std::string::npos) << directory.err;
  const Ran full = send({"getThumbnail", arguments, "--out", "/dev/full"});
  EXPECT_EQ(full.status, 1);
  EXPECT_NE(full.err.find("/dev/full: No space left on device\n"), std::string::npos) << full.err;
}

TEST_F(Call, AReplyWithoutBytesWritesNoFile) {
  const Ran ran = send({"getPermission", "--out", folder() / "none"});
  EXPECT_EQ(ran.status, 1);
  EXPECT_EQ(ran.out, "{\"result\":true}\n");
  EXPECT_NE(ran.err.find("holds no bytes"), std::string::npos) << ran.err;
  EXPECT_FALSE(fs::exists(folder() / "none"));
}

TEST_F(Call, GivesUpWaitingAfterTheTimeout) {
  const Ran ran = send({"--timeout", "0", "getThumbnail", thumbnailArguments()});
  EXPECT_EQ(ran.status, 1);
  EXPECT_EQ(ran.out, "{\"noReply\":true}\n");
  EXPECT_EQ(send({"--timeout", "0", "getPlatformVersion"}).status, 0) << "this reply is direct";
  EXPECT_EQ(send({"--timeout", "inf", "getPermission"}).status, 0);
}

TEST_F(Call, AnOutputThatCannotBeWrittenIsAFailure) {
  const Ran ran = run({"sh", "-c", "\"$1\" --library \"$2\" call getPermission >/dev/full", "sh",
                       QUORVIN_TOOL, kImportedLibrary});
  EXPECT_EQ(ran.status, 1);
  EXPECT_EQ(ran.err, "quorvin: standard output could not be written\n");
}

TEST_F(Call, MakesAMissingLibraryButNoneOfAnotherFolder) {
  EXPECT_TRUE(call(library(), "getGalleryList", galleryArguments)["result"].empty());
  EXPECT_TRUE(fs::is_directory(library()));
  write(folder() / "letter.txt", "hello");
  const Ran ran = quorvin({"--library", folder(), "call", "getPermission"});
  EXPECT_EQ(ran.status, 1);
  EXPECT_EQ(ran.out, "");
  EXPECT_NE(ran.err.find("is not a photo library"), std::string::npos) << ran.err;
  EXPECT_EQ(ran.err.find("error 3"), std::string::npos) << "codes are nothing to people";
}

TEST_F(Call, TheStoredStatusRulesWhatIsSeen) {
  copyOfImportedLibrary();
  for (const char* status : {"not-determined", "restricted", "denied", "authorized", "limited"}) {
    const Ran stored = quorvin({"--library", library(), "authorize", status});
    EXPECT_EQ(stored.status, 0) << stored.err;
    EXPECT_EQ(stored.out + stored.err, "");
    const bool full = std::string(status) == "authorized";
    EXPECT_EQ(call(library(), "getPermission"), (Json{{"result", full}})) << status;
    EXPECT_EQ(call(library(), "getGalleryList", galleryArguments)["result"].empty(), !full)
        << status;
    const Ran info = quorvin({"--library", library(), "info", "--json"});
    EXPECT_EQ(Json::parse(info.out)["status"], status);
  }
}

}  // namespace
}  // namespace quorvin
