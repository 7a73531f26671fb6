#include "tests/hostile/attack.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace quorvin {

namespace {

using Clock = std::chrono::steady_clock;

bool isToldIn(const std::string& reason, const char* words) {
  return reason.find(words) != std::string::npos;
}

template <class T>
void append(std::vector<T>& all, const std::vector<T>& more) {
  all.insert(all.end(), more.begin(), more.end());
}

}  // namespace

std::string workerProgram() {
  const char* program = std::getenv("QUORVIN_MEDIA_WORKER");
  return program != nullptr ? program : QUORVIN_MEDIA_WORKER_PROGRAM;
}

void AttackTally::add(const AttackTally& other) {
  files += other.files;
  calls += other.calls;
  refused += other.refused;
  for (const auto& [kind, time] : other.longest) longest[kind] = std::max(longest[kind], time);
  append(ended, other.ended);
  append(late, other.late);
  append(senseless, other.senseless);
  append(refusals, other.refusals);
  refusedCalls.insert(other.refusedCalls.begin(), other.refusedCalls.end());
}

Attack::Attack(std::string folder)
    : folder_(std::move(folder)), pool_({.program = workerProgram(), .size = 1}) {}

template <class Work>
auto Attack::call(const char* kind, Work work) {
  const auto begin = Clock::now();
  auto result = work();
  const auto time = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
  ++tally_.calls;
  tally_.longest[kind] = std::max(tally_.longest[kind], time);
  if (!result) note(kind, result.error().sentence());
  return result;
}

void Attack::on(const std::string& path) {
  name_ = std::filesystem::path(path).filename();
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_TRUE(file) << path;
  ++tally_.files;
  call("probe", [&] { return pool_.probe(file, name_); });
  askForPictures(file);
  askForExports(file);
  askForRefusedCalls();
}

void Attack::note(const char* kind, const std::string& reason) {
  ++tally_.refused;
  const std::string line = name_ + ": " + kind + ": " + reason;
  if (isToldIn(reason, "ended unexpectedly")) tally_.ended.push_back(line);
  if (isToldIn(reason, "and was ended")) tally_.late.push_back(line);
  if (isToldIn(reason, "no sense")) tally_.senseless.push_back(line);
  EXPECT_TRUE(reason.ends_with('.') && !isToldIn(reason, "\n")) << line;
}

void Attack::askForPictures(const FileDescriptor& file) {
  for (const MediaKind kind : {MediaKind::image, MediaKind::video, MediaKind::audio}) {
    const RenderRequest request{.kind = kind, .targetWidth = 256, .targetHeight = 256};
    const auto thumbnail = call("thumbnail", [&] { return pool_.render(file, request); });
    if (!thumbnail) continue;
    call("encoding", [&] { return pool_.encode(**thumbnail, ImageFormat::jpeg, 0.8); });
  }
  RenderRequest whole;
  whole.fit = RenderRequest::Fit::original;
  whole.failOnDamage = true;
  whole.keepProfile = true;
  const auto image = call("conversion", [&] { return pool_.render(file, whole); });
  if (!image) return;
  call("conversion", [&] { return pool_.encode(**image, ImageFormat::jpeg, 1); });
}

void Attack::askForExports(const FileDescriptor& file) {
  for (const VideoPreset preset :
       {VideoPreset::passthrough, VideoPreset::highestQuality, VideoPreset::mediumQuality}) {
    const auto containers =
        call("containers", [&] { return pool_.exportContainers(file, preset); });
    if (!containers || containers->empty()) continue;
    const std::string path = folder_ + "/export";
    const FileDescriptor output(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR));
    const VideoExportRequest request{.preset = preset, .container = containers->front()};
    call("export", [&] { return pool_.exportVideo(file, output, request, {}); });
    ::unlink(path.c_str());
  }
}

void Attack::askForRefusedCalls() {
  for (const auto kind : {WorkerProcess::Kind::pictures, WorkerProcess::Kind::exports}) {
    const auto description = call("description", [&] { return pool_.describe(kind); });
    if (!description) continue;
    for (const std::string& each : description->refusedCalls) {
      if (tally_.refusedCalls.insert(each).second) tally_.refusals.push_back(name_ + ": " + each);
    }
  }
}

}  // namespace quorvin
