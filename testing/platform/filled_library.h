// A library that holds something, and what it shows and refuses.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform_linux/library/fetch/library.h"
#include "platform_linux/library/import/importer.h"
#include "platform_linux/library/opening/opening.h"
#include "platform_linux/library/upkeep/administration.h"
#include "platform_linux/library/upkeep/check.h"
#include "platform_linux/library/upkeep/trash.h"
#include "testing/platform/testing_import.h"
#include "testing/platform/testing_library.h"

namespace quorvin {

/// A library with an asset in an album, and one that was deleted. Nobody has it open.
struct FilledLibrary {
  explicit FilledLibrary(const std::string& place) : path(place) {
    EXPECT_TRUE(storeAuthorization(path, PHAuthorizationStatus::authorized));
    Gardener garden(path);
    asset = garden.plant({.created = 7});
    garden.addToAlbum(garden.plantAlbum("Summer"), asset);
    deleted = garden.plant({});
    garden.run("UPDATE assets SET trashed_ns = unixepoch() * 1000000000 WHERE ident = '" + deleted +
               "'");
    garden.run("PRAGMA wal_checkpoint(TRUNCATE)");
  }
  std::string path;
  std::string asset;
  std::string deleted;
};

/// What a library that is filled so shows of itself; empty when it shows all of that.
inline std::string faultOf(const FilledLibrary& filled) {
  const auto summary = describeLibrary(filled.path);
  if (!summary) return summary.error().sentence();
  if (summary->photos != 1 || summary->deleted != 1) return "other counts";
  if (summary->albums.size() != 1 || summary->albums[0].assets != 1) return "other albums";
  const auto trash = listTrash(filled.path);
  if (!trash) return trash.error().sentence();
  if (trash->size() != 1 || (*trash)[0].localIdentifier != filled.deleted) return "other trash";
  const auto library = Library::open({.path = filled.path});
  if (!library) return library.error().sentence();
  const std::string& asset = filled.asset;
  return (*library)->fetchAssetsWithLocalIdentifiers({{asset}}, nullptr)->count() == 1 ? ""
                                                                                       : "no asset";
}

/// The sentences of all ways to change a library.
inline std::vector<std::string> refusals(const std::string& path) {
  std::vector<std::string> sentences;
  const auto add = [&sentences](const auto& done) {
    sentences.push_back(done ? "was done" : done.error().sentence());
  };
  add(storeAuthorization(path, PHAuthorizationStatus::denied));
  add(emptyTrash(path));
  add(restoreFromTrash(path, {}));
  add(checkLibrary(path, {.repair = true}));
  ScriptedMedia media;
  ImportListener observer;
  add(importIntoLibrary(path, media, {{"/nonexistent.jpg"}, {}}, observer));
  add((*openCatalogue(path, MissingLibrary::refuse))->change([](Database&) -> Done {
    return Null{};
  }));
  return sentences;
}

inline std::vector<std::string> allOf(const std::string& sentence) {
  return std::vector<std::string>(6, sentence);
}

}  // namespace quorvin
