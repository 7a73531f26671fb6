// Damaged and hostile side files: whatever the bytes, there is an answer.
#include <gtest/gtest.h>

#include <random>

#include "codec/utf8.h"
#include "media_protocol/wire.h"
#include "media_worker/side/xmp_writer.h"
#include "testing/media/probes.h"

namespace quorvin {
namespace {

struct SideSample {
  const char* name;
  std::string content;
};

class DamagedSideFile : public testing::TestWithParam<SideSample> {};

void expectSideAnswer(const std::string& content, const std::string& name) {
  const auto probe = probeBytes(bytesOf(content), name);
  if (!probe) {
    EXPECT_TRUE(probe.error().sentence().ends_with('.'));
    return;
  }
  EXPECT_EQ(probe->kind, MediaKind::side);
  EXPECT_TRUE(isUtf8(probe->notes.title));
  EXPECT_TRUE(probeFromMap(probeToMap(*probe))) << "the host believes it";
  if (probe->notes.kind != SideKind::xmp) return;
  const auto written = writeXmp(content, {probe->creationDate, probe->notes});
  if (!written) return;
  const auto again = probeBytes(bytesOf(*written), name);
  ASSERT_TRUE(again);
  EXPECT_EQ(again->notes, probe->notes) << content << *written;
  EXPECT_EQ(again->creationDate, probe->creationDate);
}

TEST_P(DamagedSideFile, IsAnsweredAtEveryTruncation) {
  const auto& [name, content] = GetParam();
  for (std::size_t size = 1; size <= content.size(); ++size) {
    SCOPED_TRACE(size);
    expectSideAnswer(content.substr(0, size), name);
  }
}

TEST_P(DamagedSideFile, IsAnsweredAfterRandomChanges) {
  constexpr int kRounds = 1500;
  const auto& [name, content] = GetParam();
  std::mt19937 random(20170501);
  for (int round = 0; round < kRounds; ++round) {
    SCOPED_TRACE(round);
    std::string damaged = content;
    for (unsigned left = 1 + random() % 4; left > 0; --left) {
      damaged[random() % damaged.size()] = static_cast<char>(random());
    }
    expectSideAnswer(damaged, name);
  }
}

std::vector<SideSample> sideSamples() {
  return {
      {"a.aae", "<?xml version=\"1.0\"?><plist><dict/></plist>"},
      {"a.json", R"({"title": "\u00e4.JPG", "photoTakenTime": {"timestamp": "1493634896"},
                     "favorited": true, "geoData": {"latitude": 1.5}, "list": [1, null]})"},
      {"metadata.json", R"({"albumData": {"title": "Sea", "access": "x"}})"},
      {"a.xmp",
       xmpPacket("xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" "
                 "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
                 "xmlns:quorvin=\"https://quorvin.dev/ns/1.0/\" xmp:Rating=\"5\" "
                 "xmp:CreateDate=\"2017-05-01T12:34:56.5+02:00\" quorvin:Hidden=\"True\" "
                 "quorvin:BurstID=\"b\" quorvin:BurstSelection=\"3\" "
                 "quorvin:ModifyDate=\"2017-05-01T12:34:56Z\">"
                 "<dc:title><rdf:Alt><rdf:li xml:lang=\"x-default\">Sea</rdf:li></rdf:Alt>"
                 "</dc:title><quorvin:PartTypes><rdf:Seq><rdf:li>1</rdf:li></rdf:Seq>"
                 "</quorvin:PartTypes><quorvin:PartNames><rdf:Seq><rdf:li>a.jpg</rdf:li></rdf:Seq>"
                 "</quorvin:PartNames>")},
  };
}

INSTANTIATE_TEST_SUITE_P(SideFiles, DamagedSideFile, testing::ValuesIn(sideSamples()));

}  // namespace
}  // namespace quorvin
