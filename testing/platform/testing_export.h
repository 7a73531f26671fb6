// A library that is exported, and what stands in the folder then.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform_linux/library/export/exporter.h"
#include "platform_linux/library/values/export_list.h"
#include "testing/platform/testing_import.h"

namespace quorvin {

struct ExportFixture : ImportFixture {
  std::string target() const { return folder / "out"; }

  Result<ExportReport> tryExport(const ExportOptions& options = {}) {
    return exportLibrary(libraryPath(), media, target(), options);
  }
  ExportReport exported(const ExportOptions& options = {}) {
    const auto report = tryExport(options);
    EXPECT_TRUE(report) << report.error().sentence();
    if (!report) return {};
    for (const std::string& each : report->problems) ADD_FAILURE() << each;
    EXPECT_FALSE(report->ended) << *report->ended;
    return *report;
  }
  /// What stands in the folder, without the list.
  std::vector<std::string> names() const {
    std::vector<std::string> names = filesBelow(target());
    std::erase(names, kExportList);
    return names;
  }
  std::string at(const std::string& path) const { return readFile(target() + "/" + path); }
  Gardener gardener() const { return Gardener(libraryPath()); }
};

}  // namespace quorvin
