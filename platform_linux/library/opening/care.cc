// Nobody who opens a library waits for this: looking through the catalogue of a million assets
// takes seconds, and so does removing tens of thousands of files. The first finding counts for the
// rest: as long as the catalogue is not known to be sound, nothing is removed on its word; and a
// damaged one takes no more changes.
#include "platform_linux/library/opening/care.h"

#include <chrono>
#include <optional>
#include <stop_token>
#include <thread>

#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/library_lock.h"
#include "platform_linux/library/catalogue/trash_rows.h"
#include "platform_linux/library/originals/removal.h"
#include "platform_linux/library/originals/staging.h"

namespace quorvin {
namespace {

/// Ends what is under way, but gives it a while first: a program that only opens and closes would
/// otherwise never get anything done.
class Patience {
 public:
  explicit Patience(const std::stop_token& stop) : stop_(stop) {}
  bool isOver() {
    if (!stop_.stop_requested()) return false;
    const auto now = std::chrono::steady_clock::now();
    if (!end_) end_ = now + std::chrono::seconds(2);
    return now >= *end_;
  }

 private:
  const std::stop_token& stop_;
  std::optional<std::chrono::steady_clock::time_point> end_;
};

// Waits while another does it, who may come to trust it: the whole catalogue is read for that.
std::optional<LibraryLock> takeVerification(const Catalogue& catalogue, Patience& patience) {
  constexpr std::chrono::milliseconds kLookAgain{20};
  for (;;) {
    auto lock = LibraryLock::tryAcquire(catalogue.folder(), LibraryLock::Area::verification,
                                        LibraryLock::Mode::exclusive);
    if (lock) return *std::move(lock);
    if (!LibraryLock::isHeld(lock.error()) || patience.isOver()) return std::nullopt;
    std::this_thread::sleep_for(kLookAgain);
  }
}

// It stays without trust when it is damaged, cannot be read, or time was up.
void verify(Catalogue& catalogue, Patience& patience) {
  const auto turn = takeVerification(catalogue, patience);
  if (!turn) return;
  if (LibraryLock::isHeldByAnyone(catalogue.folder(), LibraryLock::Area::trust)) {
    catalogue.trust();
    return;
  }
  Catalogue::Reader database = catalogue.reader();
  if (!database) return;
  const auto found = database->soundness([&patience] { return patience.isOver(); });
  if (found == Database::Soundness::damaged) {
    catalogue.refuseChanges(needsRescue(catalogue.folder().catalogue()));
  }
  if (found == Database::Soundness::sound) catalogue.trust();
}

bool isWriterFree(const Catalogue& catalogue) {
  return static_cast<bool>(LibraryLock::tryAcquire(catalogue.folder(), LibraryLock::Area::writer,
                                                   LibraryLock::Mode::exclusive));
}

void purgeTrash(Catalogue& catalogue, Patience& patience) {
  // Whoever writes at this moment does not wait for this.
  if (!isWriterFree(catalogue)) return;
  TrashClock clock;
  const auto note = [&clock](Database& database) -> Done {
    const auto before = trashClock(database);
    if (!before) return database.lastError("the clock cannot be noted");
    clock = lookedAt(*before, presentTime());
    if (clock == *before || storeTrashClock(database, clock)) return Null{};
    return database.lastError("the clock cannot be noted");
  };
  const Done noted = catalogue.change(note, Catalogue::Room::reserve);
  if (!noted || clock.isDoubted()) return;
  const std::int64_t until = presentTime() - std::chrono::nanoseconds(kDaysInTrash).count();
  removeTrashed(catalogue, until, [&patience] { return !patience.isOver(); });
}

bool isPurgeDue(Catalogue& catalogue) {
  const std::int64_t now = presentTime();
  Catalogue::Reader database = catalogue.reader();
  if (!database) return false;
  const auto clock = trashClock(*database);
  return clock && (lookedAt(*clock, now) != *clock ||
                   isAnyTrashed(*database, now - std::chrono::nanoseconds(kDaysInTrash).count()));
}

}  // namespace

void startCare(Catalogue& catalogue) {
  if (catalogue.isTrusted() && !isPurgeDue(catalogue)) return;
  catalogue.runBeside([](Catalogue& open, const std::stop_token& stop) {
    Patience patience(stop);
    if (!open.isTrusted()) {
      verify(open, patience);
      if (!open.isTrusted()) return;
      sweepStaging(open.folder());
    }
    if (isPurgeDue(open)) purgeTrash(open, patience);
  });
}

}  // namespace quorvin
