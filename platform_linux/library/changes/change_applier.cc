#include "platform_linux/library/changes/change_applier.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "codec/utf8.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/errors/system_failure.h"
#include "platform_linux/library/changes/change_transaction.h"

namespace quorvin {
namespace {

// "The file “NAME” cannot be saved: REASON."
Failure cannotSave(const std::string& path, LibraryErrorCode code, const std::string& reason) {
  const std::string name = std::filesystem::path(path).filename().string();
  return Failure(
      code, "the file “" + validUtf8(name.empty() ? path : name) + "” cannot be saved: " + reason);
}

Failure cannotSave(const std::string& path, const Failure& failure) {
  return cannotSave(path, static_cast<LibraryErrorCode>(failure.code), failure.reason);
}

// Of a file that cannot be opened: whatever the system said, it is either missing or no good.
Failure cannotRead(const std::string& path, const Failure& error) {
  if (error.is(LibraryErrorCode::missingResource)) {
    return cannotSave(path, LibraryErrorCode::missingResource, "there is no such file.");
  }
  return cannotSave(path, LibraryErrorCode::invalidResource, error.reason);
}

bool onlyDelete(const std::vector<ChangeRequest>& requests) {
  return std::ranges::all_of(requests, [](const ChangeRequest& request) {
    return std::holds_alternative<DeleteAssets>(request);
  });
}

const char* nameOf(MediaKind kind) {
  switch (kind) {
    case MediaKind::image:
      return "a photo";
    case MediaKind::video:
      return "a video";
    case MediaKind::audio:
      return "a sound";
    case MediaKind::side:
      return "something about another file";
  }
  return "something else";
}

}  // namespace

bool savesFiles(const std::vector<ChangeRequest>& requests) {
  return std::ranges::any_of(requests, [](const ChangeRequest& request) {
    return std::holds_alternative<CreateAsset>(request);
  });
}

Result<std::size_t> ChangeApplier::countDeletions(const std::vector<ChangeRequest>& requests) {
  std::vector<std::int64_t> rows;
  Catalogue::Reader database = catalogue_.reader();
  if (!database) return database.error();
  for (const ChangeRequest& request : requests) {
    if (const auto* deletion = std::get_if<DeleteAssets>(&request)) {
      appendRows(*database, *deletion, rows);
    }
  }
  if (database->hasMetDamage()) return unreadable(*database);
  if (rows.empty()) return std::size_t{0};
  Statement count = database->prepare(
      "SELECT count(*) FROM assets WHERE id IN (SELECT value FROM json_each(?))"
      " AND trashed_ns IS NULL");
  const std::string list = listOfRows(rows);
  if (!count.bind(list).next()) return unreadable(*database);
  return static_cast<std::size_t>(count.integer(0));
}

Done ChangeApplier::apply(const std::vector<ChangeRequest>& requests,
                          PHAuthorizationStatus status) {
  if (requests.empty()) return Null{};
  std::vector<Creation> creations;
  Done done = Null{};
  bool isUncertain = false;
  if (savesFiles(requests)) {
    done = makeReady();
    if (done) done = copyFiles(requests, creations);
    if (done) done = placeFiles(creations);
  }
  if (done) {
    done = catalogue_.change(
        [&requests, &creations, status](Database& database) {
          return store(database, requests, creations, status);
        },
        onlyDelete(requests) ? Catalogue::Room::reserve : Catalogue::Room::free, &isUncertain);
  }
  if (staging_ == nullptr) return done;
  if (done || (!isUncertain && removeFiles(creations))) staging_->forget();
  if (!done) {
    // It goes, for the disk may be full. What it still lists the next opening looks at.
    copies_.reset();
    staging_.reset();
  }
  return done;
}

bool ChangeApplier::removeFiles(const std::vector<Creation>& creations) const {
  bool gone = true;
  for (const Creation& creation : creations) {
    gone = copies_->remove(creation.main) && gone;
    if (creation.pairedVideo) gone = copies_->remove(*creation.pairedVideo) && gone;
  }
  return gone;
}

Done ChangeApplier::store(Database& database, const std::vector<ChangeRequest>& requests,
                          const std::vector<Creation>& creations, PHAuthorizationStatus status) {
  ChangeTransaction transaction(database, status);
  auto creation = creations.begin();
  for (const ChangeRequest& request : requests) {
    Done stored = Null{};
    if (std::holds_alternative<CreateAsset>(request)) {
      stored = transaction.createAsset(creation->asset, creation->main, creation->pairedVideo);
      ++creation;
    } else if (const auto* deletion = std::get_if<DeleteAssets>(&request)) {
      stored = transaction.deleteAssets(*deletion);
    } else if (const auto* album = std::get_if<CreateAlbum>(&request)) {
      stored = transaction.createAlbum(*album);
    } else {
      stored = transaction.addToAlbum(std::get<AddToAlbum>(request));
    }
    if (!stored) return stored;
  }
  return Null{};
}

Done ChangeApplier::makeReady() {
  if (copies_ != nullptr && staging_->isThere()) return Null{};
  copies_.reset();
  staging_.reset();
  auto staging = Staging::begin(catalogue_.folder());
  if (!staging) return staging.error();
  staging_ = *std::move(staging);
  copies_ = std::make_unique<OriginalCopies>(catalogue_.folder(), *staging_);
  return Null{};
}

Done ChangeApplier::copyFiles(const std::vector<ChangeRequest>& requests,
                              std::vector<Creation>& creations) {
  for (const ChangeRequest& request : requests) {
    const auto* create = std::get_if<CreateAsset>(&request);
    if (create == nullptr) continue;
    auto creation = copyFile(*create);
    if (!creation) return creation.error();
    creations.push_back(*std::move(creation));
  }
  return Null{};
}

Result<SourceFile> ChangeApplier::look(const CreateAsset& request) {
  const auto source = openSource(catalogue_.folder(), request.path);
  if (!source) return cannotRead(request.path, source.error());
  SourceFile file = describeSource(*source, request.path);
  // This decodes as much as it takes to tell a sound file from a damaged one.
  auto probe = media_.probe(*source, file.name);
  if (!probe) return cannotSave(request.path, probe.error());
  file.probe = *std::move(probe);
  if (file.probe.kind != request.kind) {
    return cannotSave(
        request.path, LibraryErrorCode::invalidResource,
        std::string("it is ") + nameOf(file.probe.kind) + ", not " + nameOf(request.kind) + ".");
  }
  if (file.probe.pixelWidth <= 0 || file.probe.pixelHeight <= 0) {
    return cannotSave(request.path, LibraryErrorCode::invalidResource, "it shows no picture.");
  }
  // What was saved is an asset by itself: it shows whatever it was taken with.
  file.probe.burstIdentifier.clear();
  file.probe.burstPrimary = false;
  return file;
}

Result<ChangeApplier::Creation> ChangeApplier::copyFile(const CreateAsset& request) {
  auto file = look(request);
  if (!file) return file.error();
  const std::string uuid = request.identifier.substr(0, request.identifier.find('/'));
  Creation creation;
  creation.file = *std::move(file);
  auto main = copies_->copyFile(creation.file, uuid, false);
  if (!main) return cannotSave(request.path, main.error());
  creation.main = *std::move(main);
  creation.asset = newAssetOf(request.identifier, creation.file);
  if (creation.file.probe.embeddedMovieLength > 0) {
    auto movie = copies_->copyEmbeddedMovie(creation.file, uuid);
    if (!movie && movie.error().is(LibraryErrorCode::notEnoughSpace)) {
      copies_->remove(creation.main);
      return cannotSave(request.path, movie.error());
    }
    // The photo holds its movie anyway, so it is taken also when the part cannot be cut out.
    if (movie) creation.pairedVideo = *std::move(movie);
  }
  return creation;
}

Done ChangeApplier::placeFiles(std::vector<Creation>& creations) {
  std::vector<OriginalCopy*> copies;
  for (Creation& creation : creations) {
    creation.main.asset = creation.asset;
    copies.push_back(&creation.main);
    if (!creation.pairedVideo) continue;
    creation.pairedVideo->asset = creation.asset;
    copies.push_back(&*creation.pairedVideo);
  }
  return copies_->place(copies);
}

}  // namespace quorvin
