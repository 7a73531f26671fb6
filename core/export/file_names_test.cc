#include "core/export/file_names.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quorvin {
namespace {

TEST(FileNames, LoseTheLastExtensionOfTheirLastComponent) {
  for (const auto& [path, base] :
       std::vector<std::pair<std::string, std::string>>{{"IMG_1.HEIC", "IMG_1"},
                                                        {"a.tar.gz", "a.tar"},
                                                        {"/folder.d/a.b", "/folder.d/a"},
                                                        {"/folder.d/plain", "/folder.d/plain"},
                                                        {".hidden", ".hidden"},
                                                        {".hidden.jpg", ".hidden"},
                                                        {"a.", "a"},
                                                        {"", ""}}) {
    EXPECT_EQ(deletingPathExtension(path), base) << path;
  }
}

TEST(FileNames, TakeAnExtensionAfterWhateverTheyEndIn) {
  EXPECT_EQ(appendingPathExtension("a", "mov"), "a.mov");
  EXPECT_EQ(appendingPathExtension("a.tar", "mov"), "a.tar.mov");
  EXPECT_EQ(appendingPathExtension("/folder/a", "mov"), "/folder/a.mov");
}

TEST(FileNames, TakeNoExtensionWithoutAName) {
  for (const std::string path : {"", "/", "///"}) {
    EXPECT_EQ(appendingPathExtension(path, "mov"), std::nullopt) << path;
  }
}

TEST(FileNames, StandInTheirFolderWithOneSlash) {
  EXPECT_EQ(pathIn("/temporary/image", "a/b.jpg"), "/temporary/image/a/b.jpg");
}

}  // namespace
}  // namespace quorvin
