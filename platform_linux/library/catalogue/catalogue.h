// The catalogue of one library: its connections, and what is kept of it in memory.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

#include "core/platform/lock.h"
#include "core/platform/photo_library.h"
#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/catalogue/library_lock.h"
#include "platform_linux/library/catalogue/overview.h"
#include "platform_linux/library/catalogue/readers.h"
#include "platform_linux/library/database/sqlite.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// Keeps the status for all openers without one of their own. Inside a change. False when writing
/// failed.
bool writeStatus(Database& database, PHAuthorizationStatus status);

/// What tells a library from every other one; copies share it. Empty when it cannot be read.
std::string identityOf(Database& database);
/// A catalogue that was copied to be a backup, or was not changed since.
bool markAsBackup(Database& database);
bool isUnchangedBackup(Database& database);

/// Told of each commit of this process, on the thread that makes it. Any thread.
class CommitListener {
 public:
  virtual ~CommitListener() = default;
  virtual void committed() = 0;
};

/// How connections for reading are made.
struct ReadAccess {
  Database::Use use = Database::Use::read;
  /// The file that is read in place of the library's own. It goes with the last who holds this.
  std::shared_ptr<const std::string> copy;

  Result<std::unique_ptr<Database>> connect(const LibraryFolder& folder) const {
    return Database::open(copy ? *copy : folder.catalogueFile(), use);
  }
};

/// An open library's catalogue, as `openCatalogue` gives it. Any thread, several at once.
class Catalogue : public std::enable_shared_from_this<Catalogue> {
 public:
  /// `folder` holds a catalogue of the present version, and `presence` says that it is open.
  Catalogue(LibraryFolder folder, LibraryLock presence,
            std::unique_ptr<CommitListener> listener = nullptr, ReadAccess access = {});
  ~Catalogue();
  Catalogue(const Catalogue&) = delete;
  Catalogue& operator=(const Catalogue&) = delete;

  const LibraryFolder& folder() const { return folder_; }

  /// A connection for reading, lent until the lease goes.
  class Reader {
   public:
    explicit Reader(Catalogue& owner);
    ~Reader() { owner_.readers_.giveBack(std::move(connection_)); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    /// False when the catalogue could not be opened.
    explicit operator bool() const { return connection_.database != nullptr; }
    Database& operator*() { return *connection_.database; }
    Database* operator->() { return connection_.database.get(); }
    /// Why it could not be opened.
    const Failure& error() const { return error_; }

   private:
    Catalogue& owner_;
    ReadConnection connection_;
    Failure error_;
  };
  Reader reader() { return Reader(*this); }
  /// A connection for reading that the caller keeps.
  Result<std::unique_ptr<Database>> connect() const { return access_.connect(folder_); }

  /// The state of one moment, also after commits of other processes: all that is read with it, as
  /// long as it lives. One thread at a time.
  class Moment {
   public:
    Moment(Catalogue& owner, ReadConnection connection)
        : owner_(owner), connection_(std::move(connection)) {}
    ~Moment();
    Moment(const Moment&) = delete;
    Moment& operator=(const Moment&) = delete;
    Database& database() { return *connection_.database; }
    /// For all who have none of their own.
    PHAuthorizationStatus status() const { return connection_.status; }
    /// Never null.
    Result<std::shared_ptr<const Overview>> overview();
    /// One row of it, which is known sooner than all of it; null when there is none.
    Result<std::shared_ptr<const CollectionRow>> find(const std::string& identifier);

   private:
    friend class Catalogue;
    Catalogue& owner_;
    ReadConnection connection_;
  };
  /// The present one. Never null.
  Result<std::unique_ptr<Moment>> moment();
  /// Who keeps a moment for longer than one call says so, and may be asked to do without.
  void enlist(const std::shared_ptr<MomentHolder>& holder) { readers_.enlist(holder); }

  /// What a change may take up when the disk is full.
  enum class Room {
    free,     ///< nothing
    reserve,  ///< what is kept back: for changes that lead to more space, or need hardly any
  };
  /// Runs `body` as one durable transaction, as the only writer of all processes. What it returns
  /// decides: an error rolls back. With the reserve it may run a second time. A catalogue that a
  /// later version has taken over is left alone. Waits a few seconds for another writer.
  /// `isUncertain`, if given, becomes true when the change failed in such a way that the next
  /// opening may yet find it done.
  Done change(const std::function<Done(Database&)>& body, Room room = Room::free,
              bool* isUncertain = nullptr);
  /// Makes the reserve whole again once there is more space, if nobody writes.
  void keepReserve();

  /// Whoever was alone with the library no longer is.
  void letOthersIn() { presence_.tryChange(LibraryLock::Mode::shared); }

  /// From now on the catalogue counts as sound, for those who open it meanwhile as well, and its
  /// log is emptied when it is closed last. Without that the log stays, by which the next opening
  /// sees that there is something to look at.
  void trust();
  bool isTrusted();

  /// Opens what is needed to go on reading, and to change something small, when the process has no
  /// descriptor left, and keeps it. Once, before the catalogue is shared.
  Done holdDescriptors();

  /// Runs `work` on a thread of low priority, where the system has one for it; the catalogue closes
  /// when it has ended, and asks it to. At most once, before the catalogue is shared.
  void runBeside(std::function<void(Catalogue&, const std::stop_token&)> work);
  /// Waits until that work is done. One thread.
  void finishBeside();
  /// Tells one more listener of this process's commits from now on, as long as that lives.
  void tell(std::weak_ptr<CommitListener> listener);
  /// From now on every change fails, with this.
  void refuseChanges(const Failure& why);

 private:
  Done changeAlone(const std::function<Done(Database&)>& body, Room room, bool* isUncertain)
      QUORVIN_REQUIRES(writerLock_);
  Done connectWriter() QUORVIN_REQUIRES(writerLock_);
  /// `isSettled` becomes false when it failed and may yet turn out done.
  Done store(const std::function<Done(Database&)>& body, bool& isSettled)
      QUORVIN_REQUIRES(writerLock_);
  Done transact(const std::function<Done(Database&)>& body, bool& isSettled)
      QUORVIN_REQUIRES(writerLock_);
  /// After a failure for want of space: makes void what may stand in the log, and gives back the
  /// place that the log takes. Returns whether that is settled.
  bool freeLog(bool isSettled) QUORVIN_REQUIRES(writerLock_);
  /// As `store`, and what has to be done where there is no space.
  Done storeInRoom(const std::function<Done(Database&)>& body, Room room, bool& isSettled)
      QUORVIN_REQUIRES(writerLock_);
  void closeCleanly();

  const LibraryFolder folder_;
  const ReadAccess access_;
  LibraryLock presence_;
  std::unique_ptr<CommitListener> listener_;
  Readers readers_{[this] { return connect(); }};

  std::stop_source closing_;
  std::thread beside_;

  NSLock writerLock_;
  std::weak_ptr<CommitListener> furtherListener_ QUORVIN_GUARDED_BY(writerLock_);
  std::optional<LibraryLock> trust_ QUORVIN_GUARDED_BY(writerLock_);
  std::optional<Failure> refusal_ QUORVIN_GUARDED_BY(writerLock_);
  std::unique_ptr<Database> writer_ QUORVIN_GUARDED_BY(writerLock_);
  bool sparesLock_ QUORVIN_GUARDED_BY(writerLock_) = false;
  FileDescriptor spareLock_ QUORVIN_GUARDED_BY(writerLock_);
};

}  // namespace quorvin
