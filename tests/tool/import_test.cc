// `quorvin import`: what is added, skipped and refused.
#include <iomanip>
#include <map>
#include <regex>
#include <sstream>
#include <utility>

#include "testing/engine/tool_fixture.h"

namespace quorvin {
namespace {

class Import : public ToolFixture {
 protected:
  Ran import(Words words) {
    words.insert(words.begin(), {"--library", library(), "import"});
    return quorvin(words);
  }
  /// The summary without what differs each time; it must have it.
  static std::string withoutRate(const std::string& summary) {
    static const std::regex rate(R"(, [0-9.]+ .?B in [0-9.]+ s \([0-9.]+ (.B|bytes)/s\);)");
    EXPECT_TRUE(std::regex_search(summary, rate)) << summary;
    return std::regex_replace(summary, rate, ";");
  }

  static std::string readable(std::uintmax_t bytes) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << static_cast<double>(bytes) / 1000 << " kB";
    return std::move(text).str();
  }

  /// The lines of JSON that an import prints: those of files by name, and the last one.
  static std::pair<std::map<std::string, Json>, Json> linesOf(const std::string& out) {
    std::map<std::string, Json> files;
    Json last;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
      last = Json::parse(line);
      if (last.contains("path")) files[fs::path(last["path"]).filename()] = last;
    }
    return {files, last};
  }

  Json info() { return Json::parse(quorvin({"--library", library(), "info", "--json"}).out); }

  static std::map<std::string, std::pair<std::string, fs::file_time_type>> filesOf(
      const fs::path& folder) {
    std::map<std::string, std::pair<std::string, fs::file_time_type>> found;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      if (!entry.is_regular_file()) continue;
      found[entry.path()] = {contents(entry.path()), entry.last_write_time()};
    }
    return found;
  }
};

TEST_F(Import, AddsFoldersAndFilesAndSaysSo) {
  const Ran ran = import({photos(3), kGoodMedia / "memo.m4a"});
  EXPECT_EQ(ran.status, 0);
  EXPECT_EQ(ran.err, "");
  EXPECT_EQ(withoutRate(ran.out),
            "Added 4 assets from 4 files; 0 files already there; 0 files refused.\n");
  EXPECT_EQ(info()["photos"], 3);
  EXPECT_EQ(info()["audio"], 1);
  EXPECT_EQ(info()["status"], "authorized");
}

TEST_F(Import, ASecondTimeAddsNothing) {
  EXPECT_EQ(import({kGoodMedia}).status, 0);
  const Json before = info();
  const Ran again = import({kGoodMedia});
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.out.find("Added 0 assets from 0 files; "), 0U) << again.out;
  EXPECT_NE(again.out.find("; 0 files refused.\n"), std::string::npos) << again.out;
  EXPECT_EQ(info(), before);
}

TEST_F(Import, LeavesTheSourcesAlone) {
  const auto good = filesOf(kGoodMedia);
  const auto bad = filesOf(kBadMedia);
  import({kGoodMedia, kBadMedia});
  EXPECT_TRUE(filesOf(kGoodMedia) == good);
  EXPECT_TRUE(filesOf(kBadMedia) == bad);
}

TEST_F(Import, ListsEveryRefusedFileWithItsReason) {
  const fs::path mixed = photos(2);
  write(mixed / "letter.txt", "hello");
  write(mixed / "empty.jpg", "");
  const Ran ran = import({mixed, folder() / "missing"});
  EXPECT_EQ(ran.status, 1);
  EXPECT_EQ(withoutRate(ran.out),
            "Added 2 assets from 2 files; 0 files already there; 3 files refused.\n");
  for (const std::string path : {"photos/letter.txt", "photos/empty.jpg", "missing"}) {
    const std::string line = "quorvin: " + (folder() / path).string() + ": ";
    const std::size_t start = ran.err.find(line);
    ASSERT_NE(start, std::string::npos) << path << "\n" << ran.err;
    EXPECT_GT(ran.err.find('\n', start), start + line.size());
  }
  EXPECT_EQ(std::count(ran.err.begin(), ran.err.end(), '\n'), 3);
}

TEST_F(Import, AFileNameCannotCommandTheTerminal) {
  const fs::path hostile = folder() / "hostile";
  fs::create_directory(hostile);
  write(hostile / "a\x1b[2J\rb\n\xc2\x9b\xff.txt", "no photo");
  const Ran ran = import({hostile});
  EXPECT_EQ(ran.status, 1);
  EXPECT_NE(ran.err.find("/a\\x1B[2J\\x0Db\\x0A\\xC2\\x9B\\xFF.txt: "), std::string::npos)
      << ran.err;
  EXPECT_EQ(std::count(ran.err.begin(), ran.err.end(), '\n'), 1);
  EXPECT_EQ(ran.err.find('\x1b'), std::string::npos);
}

TEST_F(Import, MakesAnAlbumOnceAndExtendsIt) {
  const fs::path first = photos(2);
  EXPECT_EQ(import({"--album", "Holidays – 写真", first}).status, 0);
  EXPECT_EQ(import({"--album", "Holidays – 写真", kGoodMedia / "IMG_0001.jpg"}).status, 0);
  EXPECT_EQ(import({"--album", "Work", kGoodMedia / "IMG_0002.jpg"}).status, 0);
  const Json albums = info()["albums"];
  ASSERT_EQ(albums.size(), 2U);
  EXPECT_EQ(albums[0]["title"], "Holidays – 写真");
  EXPECT_EQ(albums[0]["assets"], 3);
  EXPECT_EQ(albums[1]["title"], "Work");
  EXPECT_EQ(albums[1]["assets"], 1);
}

TEST_F(Import, MakesOneAlbumOfATitleThatIsNotUtf8) {
  EXPECT_EQ(import({"--album", "a\xFF", kGoodMedia / "IMG_0001.jpg"}).status, 0);
  EXPECT_EQ(import({"--album", "a\xFF", kGoodMedia / "IMG_0002.jpg"}).status, 0);
  const Json albums = info()["albums"];
  ASSERT_EQ(albums.size(), 1U);
  EXPECT_EQ(albums[0]["title"], "a\uFFFD");
  EXPECT_EQ(albums[0]["assets"], 2);
  const Json galleries = call(
      library(), "getGalleryList",
      R"({"withAllPhotos": true, "filterEmptyAsset": true, "withSmartAlbum": true, "mediaType": 0})");
  EXPECT_TRUE(galleries.contains("result")) << galleries;
}

TEST_F(Import, RefusesAloneAFileThatMayNotGrowThatFar) {
  const fs::path mixed = photos(2);
  fs::copy_file(kGoodMedia / "IMG_0001.jpg", mixed / "large.jpg");
  fs::resize_file(mixed / "large.jpg", 40'000'000);
  const Ran ran = run({"sh", "-c", "ulimit -f 20000 && exec \"$0\" --library \"$1\" import \"$2\"",
                       QUORVIN_TOOL, library(), mixed});
  EXPECT_EQ(ran.status, 1) << ran.err;
  EXPECT_EQ(withoutRate(ran.out),
            "Added 2 assets from 2 files; 0 files already there; 1 file refused.\n");
  EXPECT_NE(ran.err.find("large.jpg: The copy cannot be written: File too large."),
            std::string::npos)
      << ran.err;
}

TEST_F(Import, PassesOverWhatIsHiddenAndSucceeds) {
  const fs::path mixed = photos(2);
  write(mixed / ".DS_Store", "theirs");
  write(mixed / "Thumbs.db", "theirs");
  const Ran ran = import({mixed});
  EXPECT_EQ(ran.status, 0);
  EXPECT_EQ(ran.err, "");
  EXPECT_EQ(withoutRate(ran.out),
            "Added 2 assets from 2 files; 0 files already there; 0 files refused; "
            "2 passed over.\n");
}

TEST_F(Import, TellsProgramsOfEachFileAndOfAll) {
  const fs::path mixed = photos(2);
  import({mixed / "photo-0.jpg"});
  write(mixed / "letter.txt", "hello");
  write(mixed / ".hidden", "theirs");
  const Ran ran = import({"--json", mixed});
  EXPECT_EQ(ran.status, 1);
  const auto [files, last] = linesOf(ran.out);
  ASSERT_EQ(files.size(), 4U) << ran.out;
  EXPECT_EQ(files.at("photo-0.jpg")["status"], "known");
  EXPECT_EQ(files.at("photo-1.jpg")["status"], "added");
  EXPECT_EQ(files.at("photo-1.jpg")["bytes"], fs::file_size(mixed / "photo-1.jpg"));
  EXPECT_EQ(files.at("letter.txt")["status"], "refused");
  EXPECT_EQ(files.at("letter.txt")["reason"], "The file is not a photo, video or audio file.");
  EXPECT_EQ(files.at(".hidden")["status"], "passedOver");
  const Json& summary = last["summary"];
  EXPECT_EQ(summary["addedFiles"], 1);
  EXPECT_EQ(summary["addedBytes"], fs::file_size(mixed / "photo-1.jpg"));
  EXPECT_EQ(summary["knownFiles"], 1);
  EXPECT_EQ(summary["refusedFiles"], 1);
  EXPECT_EQ(summary["passedOver"], 1);
  EXPECT_EQ(summary["wasStopped"], false);
}

TEST_F(Import, TellsProgramsWhyItFailed) {
  fs::create_directory(library());
  write(library() / "letter.txt", "hello");
  const Ran ran = import({"--json", photos(1)});
  EXPECT_EQ(ran.status, 1);
  EXPECT_NE(ran.json()["error"].get<std::string>().find("is not a photo library"),
            std::string::npos);
}

TEST_F(Import, SaysWhatItWouldDoAndDoesNothing) {
  const fs::path mixed = photos(2);
  write(mixed / "letter.txt", "hello");
  const Ran ran = import({"--dry-run", mixed});
  EXPECT_EQ(ran.status, 1);
  EXPECT_EQ(ran.out, "Would add " + (mixed / "photo-0.jpg").string() + "\nWould add " +
                         (mixed / "photo-1.jpg").string() + "\nWould add 2 files, " +
                         readable(2 * fs::file_size(mixed / "photo-0.jpg")) +
                         "; 0 files already there; 1 file refused.\n");
  EXPECT_NE(ran.err.find("letter.txt: The file is not a photo"), std::string::npos) << ran.err;
  EXPECT_FALSE(fs::exists(library()));
  import({mixed / "photo-0.jpg"});
  const auto [files, last] = linesOf(import({"--dry-run", "--json", mixed}).out);
  EXPECT_EQ(files.at("photo-0.jpg")["status"], "known");
  EXPECT_EQ(files.at("photo-1.jpg")["status"], "added");
  EXPECT_EQ(files.at("letter.txt")["status"], "refused");
  EXPECT_EQ(last["dryRun"]["addedFiles"], 1);
  EXPECT_EQ(info()["photos"], 1);
}

TEST_F(Import, LeavesAFolderThatIsNoLibraryAlone) {
  fs::create_directory(library());
  write(library() / "letter.txt", "hello");
  const Ran ran = import({kGoodMedia});
  EXPECT_EQ(ran.status, 1);
  EXPECT_EQ(ran.out, "");
  EXPECT_NE(ran.err.find("is not a photo library"), std::string::npos) << ran.err;
  EXPECT_EQ(std::distance(fs::directory_iterator(library()), fs::directory_iterator()), 1);
}

TEST_F(Import, SaysWhenTheMediaWorkerIsMissing) {
  setVariable("QUORVIN_MEDIA_WORKER", "/nowhere/worker");
  const Ran ran = import({photos(1)});
  EXPECT_EQ(ran.status, 1);
  EXPECT_NE(ran.err.find("/nowhere/worker"), std::string::npos) << ran.err;
}

}  // namespace
}  // namespace quorvin
