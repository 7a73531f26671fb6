#include "media_protocol/side_notes.h"

#include <gtest/gtest.h>

#include <string>

#include "media_protocol/wire.h"

namespace quorvin {
namespace {

MediaProbe someSideFile() {
  MediaProbe probe;
  probe.kind = MediaKind::side;
  probe.notes = {.kind = SideKind::xmp,
                 .title = "The sea",
                 .favorite = true,
                 .exported = ExportedNotes{.parts = {{1, "a.jpg"}, {9, "a (2).mov", "a.mov"}},
                                           .albums = {"Sea", "Best"},
                                           .modified = -5,
                                           .hidden = true,
                                           .burstIdentifier = "burst",
                                           .burstPrimary = true,
                                           .represents = true,
                                           .burstSelection = 3}};
  return probe;
}

TEST(SideNotesOnTheWire, ReadsWhatASideFileSaysBack) {
  const MediaProbe probe = someSideFile();
  const auto read = probeFromMap(probeToMap(probe));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->kind, MediaKind::side);
  EXPECT_EQ(read->notes, probe.notes);
  MediaProbe plain = probe;
  plain.notes.exported.reset();
  ASSERT_TRUE(probeFromMap(probeToMap(plain)));
  EXPECT_EQ(probeFromMap(probeToMap(plain))->notes, plain.notes);
}

TEST(SideNotesOnTheWire, RefusesNotesThatNoSideFileHolds) {
  MediaProbe probe = someSideFile();
  Map withoutNotes = probeToMap(probe);
  withoutNotes.pop_back();
  EXPECT_FALSE(probeFromMap(withoutNotes));
  probe.notes.kind = SideKind::none;
  EXPECT_FALSE(probeFromMap(probeToMap(probe)));
  const Map plain = notesToMap(SideNotes{.kind = SideKind::xmp});
  for (std::size_t i = 0; i < plain.size(); ++i) {
    Map rest = plain;
    rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(i));
    EXPECT_FALSE(notesFromMap(rest)) << i;
  }
  SideNotes notes = someSideFile().notes;
  notes.title = std::string(kLongestText + 1, 'x');
  EXPECT_FALSE(notesFromMap(notesToMap(notes)));
  notes = someSideFile().notes;
  notes.exported->albums.assign(kMostNotes + 1, "Sea");
  EXPECT_FALSE(notesFromMap(notesToMap(notes)));
  notes = someSideFile().notes;
  notes.exported->parts[0].name = std::string(kLongestText + 1, 'x');
  EXPECT_FALSE(notesFromMap(notesToMap(notes)));
}

}  // namespace
}  // namespace quorvin
