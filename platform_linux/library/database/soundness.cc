// Looking through all pages of a catalogue. SQLite does the longest part of it in one step, during
// which some versions ask nobody whether to go on; what makes that step long is the disk. So the
// file is read once before, in small parts, through SQLite: closing a descriptor of our own would
// let go of the locks that SQLite has.
#include <sqlite3.h>

#include <vector>

#include "platform_linux/library/database/sqlite.h"

namespace quorvin {
namespace {

// False when it was stopped. What cannot be read is for the check to say.
bool readOnce(sqlite3* connection, const std::function<bool()>& shouldStop) {
  sqlite3_file* file = nullptr;
  sqlite3_int64 size = 0;
  if (sqlite3_file_control(connection, "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK ||
      file == nullptr || file->pMethods == nullptr ||
      file->pMethods->xFileSize(file, &size) != SQLITE_OK) {
    return true;
  }
  std::vector<char> part(1 << 20);
  const auto length = static_cast<sqlite3_int64>(part.size());
  for (sqlite3_int64 at = 0; at < size; at += length) {
    if (shouldStop()) return false;
    file->pMethods->xRead(file, part.data(), static_cast<int>(length), at);
  }
  return true;
}

}  // namespace

Database::Soundness Database::soundness(const std::function<bool()>& shouldStop) {
  constexpr int kStepsBetweenQuestions = 10'000;
  if (shouldStop) {
    if (!readOnce(connection_, shouldStop)) return Soundness::unknown;
    const auto ask = [](void* stop) {
      return (*static_cast<const std::function<bool()>*>(stop))() ? 1 : 0;
    };
    sqlite3_progress_handler(connection_, kStepsBetweenQuestions, ask,
                             const_cast<std::function<bool()>*>(&shouldStop));
  }
  auto found = Soundness::unknown;
  {
    Statement check = prepare("PRAGMA quick_check(1)");
    if (check.next()) {
      found = check.text(0) == "ok" ? Soundness::sound : Soundness::damaged;
    } else if (damageMet_) {
      found = Soundness::damaged;
    }
  }
  sqlite3_progress_handler(connection_, 0, nullptr, nullptr);
  return found;
}

}  // namespace quorvin
