#include "tool/serve/open_browser.h"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <csignal>

namespace quorvin {

bool openBrowser(const std::string& address) {
  std::string program = "xdg-open";
  std::string argument = address;
  char* const arguments[] = {program.data(), argument.data(), nullptr};
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_t files;
  ::posix_spawnattr_init(&attributes);
  ::posix_spawn_file_actions_init(&files);
  // It outlives this program's Ctrl-C, and hears the signals that this program waits for itself.
  sigset_t none;
  sigemptyset(&none);
  ::posix_spawnattr_setsigmask(&attributes, &none);
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSID);
  // What this program prints is for whoever started it.
  ::posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int error =
      ::posix_spawnp(&child, program.c_str(), &files, &attributes, arguments, environ);
  ::posix_spawn_file_actions_destroy(&files);
  ::posix_spawnattr_destroy(&attributes);
  return error == 0;
}

}  // namespace quorvin
