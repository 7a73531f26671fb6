// The requests of one change as writes to the catalogue.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/photo_library.h"
#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/changes/change_recorder.h"
#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/originals/original_copies.h"

namespace quorvin {

/// Adds the row ids of the request's assets, those that the catalogue knows.
void appendRows(Database& database, const DeleteAssets& request, std::vector<std::int64_t>& rows);

/// Lives inside one transaction. After an error the transaction is to be rolled back.
class ChangeTransaction {
 public:
  ChangeTransaction(Database& database, PHAuthorizationStatus status)
      : database_(database), isLimited_(status == PHAuthorizationStatus::limited) {}

  Done createAsset(const NewAsset& asset, const OriginalCopy& main,
                   const std::optional<OriginalCopy>& pairedVideo);
  /// Assets that are deleted already stay so.
  Done deleteAssets(const DeleteAssets& request);
  Done createAlbum(const CreateAlbum& request);
  Done addToAlbum(const AddToAlbum& request);

 private:
  Done accessToAlbums() const;
  Failure failure() const;

  Database& database_;
  const bool isLimited_;
};

}  // namespace quorvin
