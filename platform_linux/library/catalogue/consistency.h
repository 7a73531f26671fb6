// Where rows of the catalogue can contradict each other, and how that is put right. What changes
// something runs inside a change, and is false when writing failed. A look that fails finds the
// reason.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

/// What is wrong with the database's pages and indexes.
std::vector<std::string> damageOf(Database& database);
bool remakeIndexes(Database& database);

/// How many rows of a table are of assets or albums that do not exist; tables without such rows
/// are left out.
std::map<std::string, int> danglingRows(Database& database);
/// False also when the table is none of the catalogue's.
bool dropDanglingRows(Database& database, const std::string& table);

/// Identifiers that stand for more than one asset, or more than one collection.
std::vector<std::string> repeatedIdentifiers(Database& database);

struct WrongBurst {
  std::string identifier;
  std::int64_t representatives = 0;
};
/// Bursts that are not represented by one member.
std::vector<WrongBurst> wrongBursts(Database& database);

/// Assets, by identifier, with the mark of live photos alone, or with the paired video alone.
std::vector<std::string> livePhotosWithoutVideo(Database& database);
std::vector<std::string> videosWithoutLivePhoto(Database& database);
bool markAsLivePhoto(Database& database, const std::string& identifier, bool isLive);

/// Assets, by identifier, whose column `visible` is not what burst and choice make it.
std::vector<std::string> wronglyListed(Database& database);
bool settleListings(Database& database);

/// Assets, by identifier, that have no file, or no more than a paired video.
std::vector<std::string> assetsWithoutOriginal(Database& database);

/// Deleted ones included.
std::int64_t countAssets(Database& database);
bool isAsset(Database& database, const std::string& identifier);

}  // namespace quorvin
