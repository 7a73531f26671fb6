// The tool's subcommands. Each returns the program's exit status.
#pragma once

#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform_linux/errors/failure.h"
#include "platform_linux/previews/all_previews.h"

namespace quorvin {

enum ExitStatus {
  kSuccess = 0,
  kFailure = 1,  ///< an error reply, refused files, or a library that does not open
  kUsage = 2,
};

struct ImportCommand {
  std::string library;
  std::optional<std::string> album;
  std::vector<std::string> paths;
  bool foldersAreAlbums = false;
  bool json = false;
  bool dryRun = false;
  int run() const;
};

struct WatchCommand {
  std::string library;
  std::optional<std::string> album;
  bool foldersAreAlbums = false;
  std::vector<std::string> folders;
  int run() const;
};

struct CallCommand {
  std::string library;
  std::string method;
  std::optional<std::string> arguments;  ///< JSON; "-" reads it from standard input
  std::optional<std::string> out;
  double timeout = 600;  ///< seconds
  int run() const;
};

struct AuthorizeCommand {
  std::string library;
  std::string status;
  static std::vector<std::string> statuses();
  int run() const;
};

struct InfoCommand {
  std::string library;
  bool json = false;
  int run() const;
};

struct ServeCommand {
  std::string library;
  bool isDefaultLibrary = false;  ///< which is made when it is missing
  std::uint16_t port = 0;         ///< 0: any that is free
  bool open = false;
  int run() const;
};

struct TrashCommand {
  enum class Action { list, restore, empty };
  std::string library;
  Action action = Action::list;
  std::vector<std::string> identifiers;  ///< to restore
  int run() const;

 private:
  int list() const;
  int restore() const;
  int empty() const;
};

struct CheckCommand {
  std::string library;
  bool content = false;
  bool repair = false;
  bool json = false;
  int run() const;
};

struct DoctorCommand {
  std::string library;
  bool json = false;
  bool forget = false;
  int run() const;
};

struct BackupCommand {
  std::string library;
  std::string target;
  bool copy = false;
  int run() const;
};

struct ExportCommand {
  std::string library;
  std::string target;
  std::optional<std::string> album;
  bool all = false;
  bool original = false;
  bool current = false;
  std::string layout = "date";
  int run() const;
};

struct PreviewsCommand {
  std::string library;
  int run() const;
};

/// As `makeAllPreviews`, with a bar where standard error is a terminal.
Result<AllPreviews> makeMissingPreviews(const std::string& library, MediaService& media,
                                        std::optional<std::size_t> latest = std::nullopt,
                                        const std::stop_token& stop = {});

/// Prints "quorvin: …" on standard error.
void complain(const std::string& sentence);

}  // namespace quorvin
