// quorvin check: whether the library is sound.
#include "platform_linux/library/upkeep/check.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "tool/commands.h"
#include "tool/json.h"
#include "tool/progress_bar.h"
#include "tool/readable.h"
#include "tool/text.h"

namespace quorvin {
namespace {

bool isOpen(const LibraryFinding& finding) {
  return !finding.isRepaired;
}

void printForPeople(const CheckReport& report) {
  for (const std::string& sentence : report.rescue) std::puts(printable(sentence).c_str());
  for (const LibraryFinding& finding : report.findings) {
    std::printf("%s%s\n", printable(finding.sentence).c_str(),
                finding.isRepaired ? " Repaired." : "");
  }
  std::printf("Checked %s with %s, %s: ", counted(report.assets, "asset", "assets").c_str(),
              counted(report.originals, "original", "originals").c_str(),
              readableSize(report.bytes).c_str());
  const auto open = std::ranges::count_if(report.findings, isOpen);
  const auto repaired = static_cast<std::int64_t>(report.findings.size()) - open;
  if (report.findings.empty()) {
    std::puts("all is well.");
  } else if (repaired == 0) {
    std::printf("%s.\n", counted(open, "problem", "problems").c_str());
  } else {
    std::printf("%s repaired, %s left.\n", counted(repaired, "problem", "problems").c_str(),
                open == 0 ? "none" : grouped(open).c_str());
  }
}

void printForPrograms(const CheckReport& report) {
  auto findings = nlohmann::ordered_json::array();
  for (const LibraryFinding& finding : report.findings) {
    findings.push_back({{"kind", findingName(finding.kind)},
                        {"sentence", finding.sentence},
                        {"repaired", finding.isRepaired}});
  }
  nlohmann::ordered_json json = {{"assets", report.assets},
                                 {"originals", report.originals},
                                 {"bytes", report.bytes},
                                 {"findings", findings}};
  if (!report.rescue.empty()) json["rescue"] = report.rescue;
  std::puts(textOf(json, 2).c_str());
}

}  // namespace

int CheckCommand::run() const {
  const auto report = [this] {
    OriginalsBar bar("Checking");
    return checkLibrary(library, {.content = content,
                                  .repair = repair,
                                  .originalsFound = [&bar](std::size_t total) { bar.begin(total); },
                                  .originalDone = [&bar] { bar.step(); }});
  }();
  if (!report) {
    complain(report.error().sentence());
    return kFailure;
  }
  json ? printForPrograms(*report) : printForPeople(*report);
  return std::ranges::none_of(report->findings, isOpen) ? kSuccess : kFailure;
}

}  // namespace quorvin
