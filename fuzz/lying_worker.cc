// A media worker that says whatever the file of a request tells it to, step by step: what to do,
// the size of a memory, a length of two bytes, the highest first, and so many bytes. Made without
// sanitizers, for it is started for nearly every input.
#include "fuzz/lying_worker.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "media_protocol/packet_socket.h"
#include "media_protocol/sealed_memory.h"

namespace quorvin {
namespace {

constexpr int kSocket = 3;

FileDescriptor sealed(std::size_t size) {
  FileDescriptor file = makeMemoryFile(size);
  sealMemoryFile(file);
  return file;
}

/// Says the bytes, with the descriptors that the operation names.
void say(Lie lie, std::size_t size, std::span<const std::uint8_t> bytes) {
  std::array<FileDescriptor, 2> given;
  switch (lie) {
    case Lie::withPixels:
      given[0] = sealed(size);
      break;
    case Lie::withManyPixels:
      given[0] = sealed((size + 1) * 65536);
      break;
    case Lie::withOpenMemory:
      given[0] = makeMemoryFile(size);
      break;
    case Lie::withFile:
      given[0] = FileDescriptor(::open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
      break;
    case Lie::withTwo:
      given = {sealed(size), sealed(1)};
      break;
    default:
      break;
  }
  std::vector<int> descriptors;
  for (const FileDescriptor& each : given) {
    if (each) descriptors.push_back(each.get());
  }
  sendPacket(kSocket, bytes, descriptors);
}

std::vector<std::uint8_t> contentOf(int file) {
  std::vector<std::uint8_t> content(1 << 16);
  const ssize_t size = ::pread(file, content.data(), content.size(), 0);
  content.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return content;
}

void follow(std::span<const std::uint8_t> script) {
  constexpr std::size_t kHead = 4;
  while (script.size() >= kHead) {
    const auto lie = static_cast<Lie>(script[0] % kLies);
    const std::size_t said = script[2] * std::size_t{256} + script[3];
    const std::size_t memory = script[1];
    script = script.subspan(kHead);
    const std::size_t size = std::min(said, script.size());
    if (lie == Lie::end) ::_exit(EXIT_FAILURE);
    if (lie == Lie::wait) return;
    say(lie, memory, script.first(size));
    script = script.subspan(size);
  }
  // Whoever still waits would wait in vain.
  ::_exit(EXIT_SUCCESS);
}

int serve() {
  std::vector<std::uint8_t> script;
  while (const auto packet = receivePacket(kSocket)) {
    if (packet->descriptor) script = contentOf(packet->descriptor.get());
    follow(script);
  }
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace quorvin

int main() {
  return quorvin::serve();
}
