// quorvin serve: the gallery in the browser, until the program is ended.

#include <cstdio>

#include "tool/commands.h"
#include "tool/interruption.h"
#include "tool/serve/open_browser.h"
#include "tool/serve/server.h"

namespace quorvin {

int ServeCommand::run() const {
  // Before the engine's threads are.
  const Interruption interruption;
  const auto server = Server::start(
      {.library = library, .makesLibrary = isDefaultLibrary, .port = port, .endsUnused = open});
  if (!server) {
    complain(server.error().sentence());
    return kFailure;
  }
  std::printf("Serving %s\n", (*server)->address().c_str());
  std::fflush(stdout);
  if (open) {
    const auto address = (*server)->addressForOnce();
    if (!address || !openBrowser(*address)) {
      complain("no browser could be started; open the address in one");
    }
  }
  (*server)->run(interruption.token());
  return kSuccess;
}

}  // namespace quorvin
