#include "platform_linux/library/watch/change_reader.h"

#include <algorithm>
#include <utility>

#include "platform_linux/library/watch/change_summary.h"

namespace quorvin {
namespace {

bool isNothing(const LibraryChange& change) {
  return change.complete && change.inserted.empty() && change.changed.empty() &&
         change.removed.empty() && change.galleries.empty();
}

}  // namespace

Result<std::unique_ptr<ChangeReader>> ChangeReader::open(
    const Catalogue& catalogue, std::shared_ptr<Authorization> authorization) {
  auto database = catalogue.connect();
  if (!database) return database.error();
  std::unique_ptr<ChangeReader> reader(new ChangeReader(
      *std::move(database), std::move(authorization), !catalogue.folder().refusal.has_value()));
  const ReadTransaction moment(*reader->database_);
  const auto now = reader->present();
  if (!now) return reader->database_->lastError("the catalogue cannot be read");
  reader->read_ = *now;
  reader->sequence_ = now->last;
  const auto status = reader->authorization_->status();
  if (!status) return status.error();
  reader->status_ = *status;
  return reader;
}

std::optional<ChangeReader::Moment> ChangeReader::present() {
  const auto version = database_->integer("PRAGMA data_version");
  Statement ends = database_->prepare("SELECT min(id), max(id) FROM journal");
  if (!version || !ends.next()) return std::nullopt;
  return Moment{*version, ends.optionalInteger(0).value_or(1), ends.integer(1)};
}

std::optional<LibraryChange> ChangeReader::read() {
  const ReadTransaction moment(*database_);
  const auto now = present();
  if (now && now->version == read_.version && !isTrackLost_) return std::nullopt;
  const auto known = authorization_->status();
  if (!known) isTrackLost_ = true;
  const PHAuthorizationStatus status = known ? *known : status_;
  if (!isGranted(status) && status == status_) {
    if (now) read_ = *now;
    return std::nullopt;
  }
  // Where it is not known what was seen before, or what is there cannot be read, all is to be asked
  // anew. What could not be read is tried again with the next commit.
  const bool isLimited = status == PHAuthorizationStatus::limited;
  const bool isFollowed = now && status == status_ && now->first <= read_.last + 1 && !isTrackLost_;
  LibraryChange change;
  const bool isRead = isFollowed && summariseJournal(*database_, read_.last, isLimited, change);
  if (!isRead) change = everything(status);
  if (now && (isRead || !isFollowed)) read_ = *now;
  status_ = status;
  isTrackLost_ = isTrackLost_ && !(now && known);
  // Without an index of the log that a writer keeps, SQLite takes every look for a new state.
  if ((isLimited || !noticesAllCommits_) && isNothing(change)) return std::nullopt;
  sequence_ = std::max(sequence_ + 1, read_.last);
  change.sequence = sequence_;
  return change;
}

LibraryChange ChangeReader::everything(PHAuthorizationStatus status) {
  LibraryChange change;
  change.complete = false;
  if (isGranted(status)) {
    listGalleries(*database_, status == PHAuthorizationStatus::limited, change.galleries);
  }
  return change;
}

}  // namespace quorvin
