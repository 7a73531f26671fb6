#include "tool/text.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

TEST(Printable, LeavesOrdinaryTextAlone) {
  for (const char* text :
       {"", "IMG 0001.jpg", "Größe – 写真 – 👍🏽 – e\u0301", "C:\\x"}) {
    EXPECT_EQ(printable(text), text);
  }
}

TEST(Printable, EscapesControlCharacters) {
  EXPECT_EQ(printable("a\x1b[2Jb\n\r\t\x7f"), "a\\x1B[2Jb\\x0A\\x0D\\x09\\x7F");
  EXPECT_EQ(printable("\u009b2J\u0085"), "\\xC2\\x9B2J\\xC2\\x85");
  EXPECT_EQ(printable(std::string_view("a\0b", 3)), "a\\x00b");
}

TEST(Printable, EscapesBytesThatAreNoUtf8) {
  EXPECT_EQ(printable("not\xff\xfeutf8"), "not\\xFF\\xFEutf8");
  EXPECT_EQ(printable("cut \xe5\x86"), "cut \\xE5\\x86");
  EXPECT_EQ(printable("\x9b"), "\\x9B");
}

TEST(ColumnsOf, CountsWideCharactersTwiceAndCombiningOnesNot) {
  EXPECT_EQ(columnsOf("abc"), 3U);
  EXPECT_EQ(columnsOf("Größe"), 5U);
  EXPECT_EQ(columnsOf("写真"), 4U);
  EXPECT_EQ(columnsOf("e\u0301"), 1U);
}

TEST(CutToColumns, CutsWhatIsTooLongAndNoCharacterInTwo) {
  EXPECT_EQ(cutToColumns("Holidays", 8), "Holidays");
  EXPECT_EQ(cutToColumns("Holidays", 7), "Holida…");
  EXPECT_EQ(cutToColumns("写真写真", 8), "写真写真");
  EXPECT_EQ(cutToColumns("写真写真", 7), "写真写…");
  EXPECT_EQ(cutToColumns("写真写真", 6), "写真…");
}

TEST(Grouped, SeparatesThousands) {
  EXPECT_EQ(grouped(0), "0");
  EXPECT_EQ(grouped(999), "999");
  EXPECT_EQ(grouped(1000), "1,000");
  EXPECT_EQ(grouped(100'000), "100,000");
  EXPECT_EQ(grouped(1'234'567), "1,234,567");
  EXPECT_EQ(grouped(-123), "-123");
  EXPECT_EQ(grouped(-1234), "-1,234");
}

TEST(Counted, IsOneOrMany) {
  EXPECT_EQ(counted(0, "file", "files"), "0 files");
  EXPECT_EQ(counted(1, "file", "files"), "1 file");
  EXPECT_EQ(counted(1000, "file", "files"), "1,000 files");
}

}  // namespace
}  // namespace quorvin
