// A media worker for the tests of its clients. The descriptor of a request holds the name of what
// the worker does with it: it answers, fails, lies, dies or hangs.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "codec/standard_message_codec.h"
#include "media_protocol/packet_socket.h"
#include "media_protocol/sealed_memory.h"
#include "media_protocol/wire.h"

namespace quorvin {
namespace {

/// All that it was started with.
std::string arguments;

std::string readText(int descriptor) {
  std::string text(64, '\0');
  const ssize_t size = ::pread(descriptor, text.data(), text.size(), 0);
  text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return text;
}

std::string openDescriptors() {
  std::vector<int> numbers;
  for (const auto& each : std::filesystem::directory_iterator("/proc/self/fd")) {
    numbers.push_back(std::atoi(each.path().filename().c_str()));
  }
  std::ranges::sort(numbers);
  std::string text;
  for (const int each : numbers) text += std::to_string(each) + " ";
  return text;
}

std::string blockedSignals() {
  sigset_t signals;
  ::sigprocmask(SIG_SETMASK, nullptr, &signals);
  struct sigaction pipe {};
  ::sigaction(SIGPIPE, nullptr, &pipe);
  return std::string(::sigismember(&signals, SIGTERM) != 0 ? "blocked " : "open ") +
         (pipe.sa_handler == SIG_DFL ? "default" : "ignored");
}

std::string environment() {
  std::vector<std::string> variables;
  for (char** each = environ; *each != nullptr; ++each) variables.emplace_back(*each);
  std::ranges::sort(variables);
  std::string text;
  for (const std::string& each : variables) text += each + " ";
  return text;
}

/// What a probe of each text answers as the content identifier.
std::string report(const std::string& text) {
  if (text == "descriptors") return openDescriptors();
  if (text == "signals") return blockedSignals();
  if (text == "priority") return std::to_string(::nice(0));
  if (text == "environment") return environment();
  if (text.starts_with("needs ")) return arguments;
  if (text == "session") return ::getsid(0) == ::getpid() ? "its own" : "another's";
  return std::to_string(::getpid());
}

MediaProbe probeFor(const std::string& text, const std::string& name) {
  MediaProbe probe;
  probe.uniformTypeIdentifier = "public.jpeg";
  probe.extension = text == "path as extension" ? "../jpg" : "jpg";
  probe.pixelWidth = 4;
  probe.pixelHeight = 3;
  probe.contentIdentifier = report(text);
  probe.burstIdentifier = name;
  return probe;
}

FileDescriptor memoryOf(std::size_t size, bool seal) {
  FileDescriptor file = makeMemoryFile(size);
  for (std::size_t i = 0; i < size; ++i) {
    const char byte = static_cast<char>(i);
    if (::pwrite(file.get(), &byte, 1, static_cast<off_t>(i)) != 1) std::abort();
  }
  if (seal) sealMemoryFile(file);
  return file;
}

/// The memory that goes with a reply that promises `size` bytes.
FileDescriptor memoryFor(const std::string& text, std::size_t size) {
  if (text == "no memory") return {};
  if (text == "ordinary file") return FileDescriptor(::open("/proc/self/exe", O_RDONLY));
  if (text == "too small") return memoryOf(size - 1, true);
  if (text == "too large") return memoryOf(size + 1, true);
  if (text == "empty") return memoryOf(0, true);
  return memoryOf(size, text != "unsealed");
}

struct Reply {
  Map fields;
  FileDescriptor memory;
};

void tellProgress(std::int64_t bytes) {
  sendPacket(kWorkerSocketDescriptor, encodeMessage(progressToMap(bytes)));
}

/// Writes what it was asked for to the output, and tells in between that it goes on.
Reply exportTo(int output, const std::string& text, const VideoExportRequest& request) {
  const std::string written = text + " " + std::to_string(request.timeMap.size());
  if (::pwrite(output, written.data(), written.size(), 0) < 0) ::_exit(1);
  const bool tells = text.starts_with("tell");
  for (int i = 0; tells && i < 3; ++i) tellProgress(i * 4096);
  if (text == "tell and die") ::raise(SIGKILL);
  if (text == "tell and hang") ::pause();
  if (text == "tell for ever") {
    for (std::int64_t bytes = 0;; bytes += 4096) tellProgress(bytes);
  }
  if (text == "tell the same for ever") {
    for (;;) tellProgress(1'000'000);
  }
  if (text == "nothing") return {};
  return {exportDoneToMap(), {}};
}

Map containersFor(const std::string& text) {
  if (text == "unknown container") return {{"containers", std::vector<std::int64_t>{1, 7}}};
  if (text == "none") return containersToMap({});
  return containersToMap({VideoContainer::quickTime, VideoContainer::mpeg4});
}

Reply answer(const std::string& text, const WorkerRequest& request, int output) {
  if (text == "error") {
    return {errorToMap(Failure(LibraryErrorCode::invalidResource, "the file is broken.")), {}};
  }
  if (const auto* probe = std::get_if<ProbeRequest>(&request)) {
    return {probeToMap(probeFor(text, probe->name)), {}};
  }
  if (const auto* render = std::get_if<RenderRequest>(&request)) {
    PixelLayout layout{static_cast<std::int64_t>(render->targetWidth),
                       static_cast<std::int64_t>(render->targetHeight), 3};
    FileDescriptor memory = memoryFor(text, layout.byteCount());
    if (text == "larger than asked") {
      layout = {static_cast<std::int64_t>(render->targetWidth) + 1, layout.height, 3};
      memory = memoryFor("answer", layout.byteCount());
    }
    if (text == "overflow") layout = {std::int64_t{1} << 62, 4, 3};
    return {layoutToMap(layout), std::move(memory)};
  }
  if (std::holds_alternative<ExportContainersRequest>(request)) return {containersFor(text), {}};
  if (const auto* video = std::get_if<VideoExportRequest>(&request)) {
    return exportTo(output, text, *video);
  }
  if (text == "endless") {
    FileDescriptor zeros = makeMemoryFile(5 << 20);
    sealMemoryFile(zeros);
    return {{}, std::move(zeros)};
  }
  return {{}, memoryFor(text, 5)};
}

void sendRaw(const std::string& bytes) {
  sendPacket(kWorkerSocketDescriptor,
             {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

/// The things that are no answer; false when the text asks for none of them. "held" is one until
/// somebody writes more into the file.
bool misbehave(const std::string& text, int descriptor, bool isUsed) {
  if (text == "die") ::raise(SIGKILL);
  if (text == "exit") ::_exit(1);
  if (text == "crash") ::raise(SIGSEGV);
  if (text == "crash when used" && isUsed) ::raise(SIGSEGV);
  for (volatile bool isBusy = text == "be busy"; isBusy;) {
  }
  if (text == "hang") ::pause();
  if (text == "stop") ::raise(SIGSTOP);
  while (text == "held" && readText(descriptor) == text) ::usleep(1000);
  if (text == "garbage") sendRaw("\xff\xfe garbage");
  if (text == "no map") sendRaw("\x01");
  if (text == "too long") sendRaw(std::string(kMaximumPacketSize + 1, '\x01'));
  return text == "garbage" || text == "no map" || text == "too long";
}

/// What "needs N" needs, in bytes; 0: nothing. "needs more" always needs more than it may take.
std::int64_t needFor(const std::string& text, std::int64_t allowed) {
  if (!text.starts_with("needs ")) return 0;
  if (text == "needs more") return allowed + 1;
  const std::int64_t need = std::int64_t{std::atoi(text.c_str() + 6)} << 20;
  return need > allowed ? need : 0;
}

int serve() {
  bool isUsed = false;
  while (const auto packet = receivePacket(kWorkerSocketDescriptor)) {
    const std::string text = readText(packet->descriptor.get());
    if (misbehave(text, packet->descriptor.get(), std::exchange(isUsed, true))) continue;
    const auto value = decodeMessage(packet->bytes);
    const auto request = requestFromMap(*value->as<Map>());
    const std::int64_t need = needFor(text, memoryFromMap(*value->as<Map>()).value_or(0));
    if (need > 0) {
      sendPacket(kWorkerSocketDescriptor, encodeMessage(needToMap(need)));
      continue;
    }
    while (text.ends_with(" held") && readText(packet->descriptor.get()) == text) ::usleep(1000);
    const Reply reply = answer(text, *request, packet->secondDescriptor.get());
    const int memory = reply.memory.get();
    const std::span<const int> descriptors(&memory, reply.memory ? 1 : 0);
    sendPacket(kWorkerSocketDescriptor, encodeMessage(reply.fields), descriptors);
  }
  return 0;
}

}  // namespace
}  // namespace quorvin

int main(int count, char** arguments) {
  for (int i = 1; i < count; ++i) quorvin::arguments += arguments[i];
  return quorvin::serve();
}
