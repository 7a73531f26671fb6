#include "media_worker/metadata/metadata_maker_note.h"

#include <gtest/gtest.h>

#include <random>

#include "testing/media/probes.h"

namespace quorvin {
namespace {

const std::vector<NoteEntry> kEntries = {
    {0x0001, 9, "", 14},       {0x000a, 9, "", 3},
    {0x000b, 2, "burst 7", 0}, {0x0011, 2, "8D3C2A41-content", 0},
    {0x0045, 9, "", 1},
};

TEST(ParseMakerNote, ReadsIdentifiersAndFlags) {
  const MakerNote note = parseMakerNote(makerNote(kEntries));
  EXPECT_EQ(note.contentIdentifier, "8D3C2A41-content");
  EXPECT_EQ(note.burstIdentifier, "burst 7");
  EXPECT_EQ(note.hdrKind, 3);
  EXPECT_TRUE(note.frontCamera);
}

TEST(ParseMakerNote, ReadsShortNumbersAndTextsInTheEntryItself) {
  Bytes note = makerNote({{0x000a, 3, "", 3}, {0x000b, 3, "", 0}});
  const std::size_t second = 16 + 12;
  const Bytes entry = {0x00, 0x0b, 0x00, 0x02, 0, 0, 0, 3, 'a', 'b', 0, 0};
  std::copy(entry.begin(), entry.end(), note.begin() + second);
  EXPECT_EQ(parseMakerNote(note).hdrKind, 3);
  EXPECT_EQ(parseMakerNote(note).burstIdentifier, "ab");
}

TEST(ParseMakerNote, IgnoresTheNotesOfOtherMakers) {
  Bytes note = makerNote(kEntries);
  note[0] = 'X';
  EXPECT_EQ(parseMakerNote(note).contentIdentifier, "");
  EXPECT_EQ(parseMakerNote({}).contentIdentifier, "");
}

TEST(ParseMakerNote, IgnoresATextThatLiesOutside) {
  Bytes note = makerNote({{0x0011, 2, "identifier", 0}});
  const std::size_t offsetField = 16 + 8;
  for (const std::uint8_t high : {0x00, 0x7f, 0xff}) {
    note[offsetField] = high;
    note[offsetField + 2] = 0xff;
    EXPECT_EQ(parseMakerNote(note).contentIdentifier, "");
  }
}

TEST(ParseMakerNote, IgnoresATextThatIsLongerThanTheNote) {
  Bytes note = makerNote({{0x0011, 2, "identifier", 0}});
  note[16 + 4] = 0xff;
  EXPECT_EQ(parseMakerNote(note).contentIdentifier, "");
}

TEST(ParseMakerNote, KeepsWhatComesBeforeTheDamage) {
  Bytes note = makerNote(kEntries);
  note[15] = 0xff;  // more entries than there are
  EXPECT_EQ(parseMakerNote(note).contentIdentifier, "8D3C2A41-content");
}

TEST(ParseMakerNote, StandsEveryTruncationAndManyChanges) {
  const Bytes whole = makerNote(kEntries);
  for (std::size_t count = 0; count < whole.size(); ++count) {
    const MakerNote note = parseMakerNote(firstBytes(whole, count));
    EXPECT_LE(note.contentIdentifier.size(), count);
  }
  std::mt19937 random(1);
  for (int round = 0; round < 20'000; ++round) {
    Bytes damaged = whole;
    for (int change = 0; change < 3; ++change) {
      damaged[14 + random() % (damaged.size() - 14)] = static_cast<std::uint8_t>(random());
    }
    EXPECT_LE(parseMakerNote(damaged).contentIdentifier.size(), damaged.size());
  }
}

}  // namespace
}  // namespace quorvin
