// The server of the gallery: an engine behind a local port.
#pragma once

#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>

#include "platform_linux/errors/failure.h"

namespace quorvin {

struct ServerOptions {
  std::string library;
  bool makesLibrary = false;  ///< one that is missing, for its owner; else that is an error
  std::uint16_t port = 0;     ///< 0: any that is free
  bool endsUnused = false;    ///< after `kLongestUnused`
};

/// One thread, the platform thread of its engine.
class Server {
 public:
  /// Opens the library, and takes connections from now on.
  static Result<std::unique_ptr<Server>> start(const ServerOptions& options);
  ~Server();

  /// Where a browser begins.
  std::string address() const;
  /// The same, of use once: for the browser's command line, which others on the machine can read.
  Result<std::string> addressForOnce();
  /// Serves until it is to stop; then answers what is under way, if that is soon done.
  void run(const std::stop_token& stop);

 private:
  struct Parts;
  explicit Server(std::unique_ptr<Parts> parts);

  const std::unique_ptr<Parts> parts_;
};

}  // namespace quorvin
