// Reads any bytes as side files of each kind. What is read a host believes, and what is written of
// it says the same.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "media_protocol/wire.h"
#include "media_worker/side/side_json.h"
#include "media_worker/side/side_xmp.h"
#include "media_worker/side/xmp_writer.h"

namespace quorvin {
namespace {

void checkBelieved(const MediaProbe& probe) {
  const auto notes = notesFromMap(notesToMap(probe.notes));
  require(notes.has_value() && *notes == probe.notes, "a host believes it");
}

void checkSideXmp(const std::string& packet) {
  MediaProbe probe;
  probe.notes.kind = SideKind::xmp;
  if (!readXmp(packet, probe)) return;
  checkBelieved(probe);
  // Of parts that are not believed nothing is written.
  const auto& exported = probe.notes.exported;
  if (exported && exported->parts.empty()) return;
  const auto written = writeXmp(packet, {probe.creationDate, probe.notes});
  if (!written) return;
  MediaProbe again;
  again.notes.kind = SideKind::xmp;
  require(readXmp(*written, again), "what is written can be read");
  require(again.creationDate == probe.creationDate, "its date is the same");
  require(again.notes == probe.notes, "its notes are the same");
}

void checkJson(const std::string& content) {
  MediaProbe probe;
  if (readJson(content, "metadata.json", probe)) checkBelieved(probe);
}

}  // namespace
}  // namespace quorvin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  quorvin::checkSideXmp(text);
  quorvin::checkJson(text);
  return 0;
}
