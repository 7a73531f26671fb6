#include "tests/crash/ledger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace quorvin {
namespace {

std::string wordOf(const Line& line, std::size_t index) {
  return index < line.size() ? line[index] : std::string();
}

Line saveOf(const std::string& name, const std::string& album) {
  // An empty word at the end of a line is none.
  return album.empty() ? Line{"save", name} : Line{"save", name, album};
}

std::string albumOf(const LibraryState& state, const std::string& asset) {
  for (const auto& [identifier, album] : state.albums) {
    if (album.assets.contains(asset)) return identifier;
  }
  return "";
}

}  // namespace

void Ledger::note(const std::vector<Line>& lines) {
  Line started;
  for (const Line& line : lines) {
    if (line.front() == "error") {
      ADD_FAILURE() << wordOf(line, 1) << " answered to " << wordOf(started, 0);
      started.clear();
    } else if (line.front() == "done") {
      settle(started, line);
      started.clear();
      ++acknowledged_;
    } else if (line.front() == "declined") {
      started.clear();
    } else if (line.front() != "open" && line.front() != "end") {
      started = line;
    }
  }
  if (!started.empty()) pending_.push_back(started);
}

void Ledger::settle(const Line& started, const Line& done) {
  const std::string& what = started.front();
  if (what == "save") assets_[wordOf(done, 1)] = {wordOf(started, 1), wordOf(started, 2)};
  if (what == "album") albums_[wordOf(done, 1)] = wordOf(started, 1);
  if (what == "import") imported_.insert(started.begin() + 1, started.end());
  if (what == "snapshot") newestSnapshot_ = std::max(newestSnapshot_, wordOf(done, 1));
  if (what == "backup") ++backups_;
  if (what == "delete") {
    for (std::size_t i = 1; i < started.size(); ++i) {
      EXPECT_EQ(assets_.erase(started[i]), 1U) << started[i];
      deleted_.insert(started[i]);
    }
  }
  if (what == "export") {
    std::error_code error;
    EXPECT_GT(std::filesystem::file_size(wordOf(done, 1), error), 0U) << wordOf(done, 1);
    EXPECT_FALSE(error) << wordOf(done, 1);
  }
}

bool Ledger::takePending(const Line& started) {
  const auto found = std::find(pending_.begin(), pending_.end(), started);
  if (found == pending_.end()) return false;
  pending_.erase(found);
  return true;
}

void Ledger::compare(const LibraryState& state) {
  compareDeletions(state);
  compareAlbums(state);
  compareImports(state);
  compareAssets(state);
  compareMembers(state);
  pending_.clear();
}

void Ledger::compareDeletions(const LibraryState& state) {
  for (const Line& line : pending_) {
    if (line.front() != "delete") continue;
    std::size_t gone = 0;
    for (std::size_t i = 1; i < line.size(); ++i) gone += state.trash.count(line[i]);
    EXPECT_TRUE(gone == 0 || gone + 1 == line.size()) << gone << " were deleted";
    if (gone == 0) continue;
    for (std::size_t i = 1; i < line.size(); ++i) {
      assets_.erase(line[i]);
      deleted_.insert(line[i]);
    }
  }
  EXPECT_EQ(state.trash, deleted_);
  for (const std::string& identifier : deleted_) {
    EXPECT_FALSE(state.assets.contains(identifier)) << identifier << " was deleted";
    EXPECT_EQ(albumOf(state, identifier), "") << identifier << " was deleted";
  }
}

void Ledger::compareAlbums(const LibraryState& state) {
  for (const auto& [identifier, title] : albums_) {
    const auto found = state.albums.find(identifier);
    ASSERT_NE(found, state.albums.end()) << "the album " << identifier << " was lost";
    EXPECT_EQ(found->second.title, title);
  }
  for (const auto& [identifier, album] : state.albums) {
    if (albums_.contains(identifier)) continue;
    EXPECT_TRUE(takePending({"album", album.title}))
        << "nobody made the album " << identifier
        << "; under way: " << testing::PrintToString(pending_);
    albums_[identifier] = album.title;
  }
}

// One run of so few files is one change.
void Ledger::compareImports(const LibraryState& state) {
  std::set<std::string> names;
  for (const auto& [identifier, asset] : state.assets) names.insert(asset.name);
  for (const Line& line : pending_) {
    if (line.front() != "import") continue;
    const auto come = std::count_if(line.begin() + 1, line.end(),
                                    [&names](const auto& name) { return names.contains(name); });
    EXPECT_TRUE(come == 0 || come + 1 == static_cast<std::ptrdiff_t>(line.size()))
        << come << " of " << testing::PrintToString(line) << " came in";
    if (come > 0) imported_.insert(line.begin() + 1, line.end());
  }
}

void Ledger::compareSnapshots(const std::vector<SnapshotState>& snapshots) const {
  for (const SnapshotState& snapshot : snapshots) {
    EXPECT_TRUE(snapshot.isWhole) << snapshot.path;
  }
  const std::string newest = snapshots.empty() ? "" : snapshots.front().path;
  EXPECT_GE(newest, newestSnapshot_) << "the newest snapshot was lost";
}

void Ledger::compareAssets(const LibraryState& state) {
  for (const auto& [identifier, asset] : assets_) {
    const auto found = state.assets.find(identifier);
    ASSERT_NE(found, state.assets.end()) << "the asset " << identifier << " was lost";
    EXPECT_EQ(found->second.name, asset.name);
  }
  for (const auto& [identifier, asset] : state.assets) {
    EXPECT_TRUE(isWhole(asset)) << identifier;
    if (assets_.contains(identifier)) continue;
    const std::string album = albumOf(state, identifier);
    EXPECT_TRUE(imported_.erase(asset.name) == 1 || takePending(saveOf(asset.name, album)))
        << "nobody saved " << identifier << " from " << asset.name << " into “" << album
        << "”; under way: " << testing::PrintToString(pending_);
    assets_[identifier] = {asset.name, album};
  }
  EXPECT_TRUE(imported_.empty()) << testing::PrintToString(imported_) << " were lost";
}

void Ledger::compareMembers(const LibraryState& state) const {
  std::map<std::string, std::set<std::string>> members;
  for (const auto& [identifier, asset] : assets_) {
    if (!asset.album.empty()) members[asset.album].insert(identifier);
  }
  for (const auto& [identifier, album] : state.albums) {
    EXPECT_EQ(album.assets, members[identifier]) << identifier;
  }
}

}  // namespace quorvin
