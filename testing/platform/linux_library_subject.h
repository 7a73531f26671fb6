// The library of this platform as the contracts of the photo library and its changes see it.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform_linux/dispatch/work_threads.h"
#include "platform_linux/library/changes/library_changes.h"
#include "platform_linux/library/fetch/library.h"
#include "platform_linux/library/upkeep/administration.h"
#include "testing/fakes/event_log.h"
#include "testing/fakes/fake_dispatch.h"
#include "testing/platform/testing_folder.h"
#include "testing/platform/testing_library.h"
#include "testing/platform/testing_media.h"

namespace quorvin {

/// Runs its items on a thread of its own.
class ThreadQueue final : public DispatchQueue {
 public:
  void async(std::function<void()> work) override { thread_.add(std::move(work)); }

 private:
  WorkThreads thread_{"quorvin-prompts", 1};
};

class LinuxLibrarySubject {
 public:
  LinuxLibrarySubject() { allow(PHAuthorizationStatus::authorized); }

  PHPhotoLibrary& library() { return *library_; }
  PHPhotoLibraryChanges& changes() { return changes_; }

  std::string addAsset(const PHAsset& asset) {
    const std::string identifier =
        gardener_.plant({.mediaType = static_cast<std::int64_t>(asset.mediaType),
                         .created = nanoseconds(asset.creationDate),
                         .subtypes = static_cast<std::int64_t>(asset.mediaSubtypes),
                         .favorite = asset.isFavorite,
                         .hidden = asset.isHidden,
                         .burst = asset.burstIdentifier,
                         .represents = asset.representsBurst,
                         .burstSelection = static_cast<std::int64_t>(asset.burstSelectionTypes)});
    const auto modified = nanoseconds(asset.modificationDate);
    gardener_.run("UPDATE assets SET duration = " + std::to_string(asset.duration) +
                  ", width = " + std::to_string(asset.pixelWidth) +
                  ", height = " + std::to_string(asset.pixelHeight) +
                  ", modified_ns = " + (modified ? std::to_string(*modified) : "NULL") +
                  " WHERE ident = '" + identifier + "'");
    return identifier;
  }
  std::string addAlbum(const std::string& title, std::vector<std::string> members = {},
                       std::int64_t subtype = 2) {
    const std::string identifier = gardener_.plantAlbum(title, subtype);
    for (const std::string& each : members) gardener_.addToAlbum(identifier, each);
    return identifier;
  }
  void removeAsset(const std::string& identifier) {
    gardener_.run("UPDATE assets SET trashed_ns = 1 WHERE ident = '" + identifier + "'");
  }
  void removeAlbum(const std::string& identifier) {
    gardener_.run("DELETE FROM collections WHERE ident = '" + identifier + "'");
  }
  void select(const std::string& identifier) {
    gardener_.run("INSERT INTO limited_selection SELECT id FROM assets WHERE ident = '" +
                  identifier + "'");
  }
  void allow(PHAuthorizationStatus status) {
    if (!storeAuthorization(folder_ / "library", status)) ADD_FAILURE() << "not stored";
  }
  void answer(PHAuthorizationStatus status) {
    answer_ = status;
    while (requests_.runNext()) {
    }
  }
  void refuseDeletions() { deletionsAreAllowed_ = false; }

  std::string image() { return put("a.jpg", "image"); }
  std::string video() { return put("a.mov", "video"); }
  std::string missingFile() { return folder_ / "missing.jpg"; }
  std::string unusableFile() { return put("notes.txt", "some notes"); }

  /// Changes that save files come after one another, so this is one, though in vain.
  void settle() {
    std::promise<void> done;
    changes_.performChanges(
        [](PHChangeRequests& requests) {
          requests.creationRequestForAssetFromImageAtFileURL("/nonexistent.jpg");
        },
        [&done](bool, const std::optional<NSError>&) { done.set_value(); });
    done.get_future().wait();
  }

 private:
  std::unique_ptr<Library> open() {
    return *Library::open({.path = folder_ / "library",
                           .authorization = std::nullopt,
                           .prompt = [this] { return answer_; },
                           .mainQueue = &requests_});
  }
  std::string put(const std::string& name, const std::string& content) {
    writeFile(folder_ / name, content);
    return folder_ / name;
  }
  static std::optional<std::int64_t> nanoseconds(const std::optional<NSDate>& date) {
    if (!date) return std::nullopt;
    return std::llround(date->timeIntervalSince1970() * 1e9);
  }

  TemporaryFolder folder_;
  EventLog log_;
  ManualQueue requests_{"requests for authorisation", log_};
  std::optional<PHAuthorizationStatus> answer_;
  ThreadQueue prompts_;
  std::atomic<bool> deletionsAreAllowed_ = true;
  ScriptedMedia media_;
  std::unique_ptr<Library> library_ = open();
  Gardener gardener_{folder_ / "library"};
  LibraryChanges changes_{
      *library_,
      media_,
      {.deletionPrompt = [this](std::size_t) { return deletionsAreAllowed_.load(); },
       .mainQueue = &prompts_}};
};

}  // namespace quorvin
