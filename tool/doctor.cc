// quorvin doctor: how this machine and the library stand.
#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/locations.h"
#include "platform_linux/library/upkeep/standing.h"
#include "platform_linux/media/failure_memory.h"
#include "platform_linux/media/media_worker_pool.h"
#include "tool/commands.h"
#include "tool/json.h"
#include "tool/readable.h"
#include "tool/text.h"

namespace quorvin {
namespace {

/// A full disk is not far.
constexpr std::int64_t kLittleSpace = 256 << 20;

struct Finding {
  std::string name;
  std::string text;
  bool needsAttention = false;
};

struct Examination {
  std::vector<Finding> worker;
  std::vector<Finding> versions;
  std::vector<Finding> library;
  std::vector<Finding> failed;

  bool needsAttention() const {
    for (const auto* part : {&worker, &versions, &library, &failed}) {
      for (const Finding& each : *part) {
        if (each.needsAttention) return true;
      }
    }
    return false;
  }
};

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& each : texts) all += (all.empty() ? "" : ", ") + each;
  return all;
}

void examineWorker(Examination& examination) {
  MediaWorkerPool pool({.program = mediaWorkerProgram(), .size = 1});
  const auto described = pool.describe(WorkerProcess::Kind::pictures);
  if (!described) {
    examination.worker.push_back({"media worker", described.error().reason, true});
    return;
  }
  for (const NamedText& layer : described->layers) {
    const bool isAbsent = !layer.text.empty();
    examination.worker.push_back(
        {layer.name, isAbsent ? "missing: " + layer.text : "active", isAbsent});
  }
  if (described->layers.empty()) {
    examination.worker.push_back({"isolation", "none: built with a sanitizer", true});
  }
  if (!described->refusedCalls.empty()) {
    examination.worker.push_back({"calls refused", joined(described->refusedCalls), true});
  }
  for (const NamedText& each : described->libraries) {
    examination.versions.push_back({each.name, each.text});
  }
}

void examineLibrary(const std::string& path, Examination& examination) {
  const LibraryStanding standing = standingOf(path);
  auto& library = examination.library;
  if (!standing.isThere) {
    library.push_back({"state", "there is none yet"});
  } else if (!standing.trouble) {
    library.push_back({"state", "can be read and changed"});
  } else {
    library.push_back({"state",
                       (standing.canBeRead ? "can only be read: " : "cannot be opened: ") +
                           standing.trouble->reason,
                       true});
  }
  library.push_back(
      {"free space", readableSize(standing.freeBytes), standing.freeBytes < kLittleSpace});
}

void examineFailures(FailureMemory& failures, Examination& examination) {
  for (const FailedFile& each : failures.all()) {
    examination.failed.push_back({each.path, each.reason, true});
  }
}

void print(const std::string& heading, const std::vector<Finding>& findings) {
  std::printf("%s\n", printable(heading).c_str());
  for (const Finding& each : findings) {
    std::printf("%s %-30s %s\n", each.needsAttention ? "!" : " ", each.name.c_str(),
                printable(each.text).c_str());
  }
}

nlohmann::ordered_json toJson(const std::vector<Finding>& findings) {
  auto list = nlohmann::ordered_json::array();
  for (const Finding& each : findings) {
    list.push_back(
        {{"name", each.name}, {"text", each.text}, {"needsAttention", each.needsAttention}});
  }
  return list;
}

}  // namespace

int DoctorCommand::run() const {
  FailureMemory failures(failedFilesPath(), mediaWorkerProgram());
  if (forget && !failures.forget()) {
    complain("The files that were set aside cannot be forgotten: “" + failedFilesPath() +
             "” cannot be emptied.");
    return kFailure;
  }
  Examination examination;
  examination.versions.push_back({"quorvin", QUORVIN_VERSION});
  examination.versions.push_back({"SQLite", databaseVersion()});
  examineWorker(examination);
  examineLibrary(library, examination);
  examineFailures(failures, examination);
  if (json) {
    const nlohmann::ordered_json all = {{"worker", toJson(examination.worker)},
                                        {"versions", toJson(examination.versions)},
                                        {"path", library},
                                        {"library", toJson(examination.library)},
                                        {"setAside", toJson(examination.failed)},
                                        {"needsAttention", examination.needsAttention()}};
    std::puts(textOf(all, 2).c_str());
  } else {
    print("Isolation of the media worker", examination.worker);
    print("Versions", examination.versions);
    print("Library " + library, examination.library);
    if (!examination.failed.empty()) {
      print("Files set aside, which media workers failed over; --forget has them tried again",
            examination.failed);
    }
  }
  return examination.needsAttention() ? kFailure : kSuccess;
}

}  // namespace quorvin
