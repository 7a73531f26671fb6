// The parts of a check.
#pragma once

#include <string>
#include <utility>

#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/upkeep/check.h"

namespace quorvin {

/// One check under way. One thread.
struct CheckRun {
  Catalogue& catalogue;
  const CheckOptions& options;
  CheckReport report;

  /// `repair`, where it is wanted, tells whether it put the matter right.
  template <class Repair>
  void find(FindingKind kind, std::string sentence, Repair&& repair) {
    const bool isRepaired = options.repair && repair();
    report.findings.push_back({kind, std::move(sentence), isRepaired});
  }
  void find(FindingKind kind, std::string sentence) {
    report.findings.push_back({kind, std::move(sentence), false});
  }
};

/// The database itself: its pages, indexes and references.
void checkDatabase(CheckRun& run);
/// What the rows say: identifiers, bursts, live photos, listings.
void checkRows(CheckRun& run);
/// Every original is there, of its size and content.
void checkOriginals(CheckRun& run);
/// No file lies around that belongs to nothing.
void checkStrayFiles(CheckRun& run);

}  // namespace quorvin
