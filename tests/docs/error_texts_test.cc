// The documentation of the error texts, against the texts themselves.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

namespace {

std::string contentsOf(const std::string& path) {
  std::ifstream file(std::string(QUORVIN_SOURCE_DIR) + "/" + path);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

std::set<std::string> matches(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern);
  std::set<std::string> found;
  for (std::sregex_iterator it(text.begin(), text.end(), regex), end; it != end; ++it) {
    found.insert((*it)[1]);
  }
  return found;
}

TEST(ErrorTexts, TheDocumentationListsEveryTextOfTheHeaderAndNoOther) {
  auto declared = matches(contentsOf("core/manager/errors.h"),
                          R"re((?:string_view|Literal) k\w+\s*=\s*"([^"]*)")re");
  EXPECT_EQ(declared.erase("Error"), 1u) << "the code is no message";
  const auto documented =
      matches(contentsOf("docs/errors.md"), R"(\n\| `([^`]*)` \| [^|]* \| [^|]* \|)");
  EXPECT_GE(declared.size(), 6u);
  EXPECT_EQ(declared, documented);
}

/// The reasons of the fatal errors in the C++ files of a folder and below, but for those whose text
/// is put together.
std::set<std::string> fatalReasonsIn(const std::string& folder) {
  std::set<std::string> reasons;
  const std::filesystem::path root = std::filesystem::path(QUORVIN_SOURCE_DIR) / folder;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    const std::string path = entry.path().lexically_relative(QUORVIN_SOURCE_DIR);
    if (!path.ends_with(".cc") || path.ends_with("_test.cc")) continue;
    reasons.merge(matches(contentsOf(path), R"re(fatalError\(\s*"([^"]*)"\))re"));
  }
  return reasons;
}

TEST(ErrorTexts, TheDocumentationListsEveryReasonOfAFatalErrorOfThePluginAndNoneThatIsNone) {
  const std::string documentation = contentsOf("docs/errors.md");
  const auto start = documentation.find("## Fatal errors");
  ASSERT_NE(start, std::string::npos);
  const auto documented = matches(documentation.substr(start), R"(\n\| `([^`]*)` \| )");
  const auto ofThePlugin = fatalReasonsIn("core");
  EXPECT_EQ(ofThePlugin.size(), 4u);
  auto all = fatalReasonsIn("platform_linux");
  all.insert(ofThePlugin.begin(), ofThePlugin.end());
  for (const auto& reason : ofThePlugin) EXPECT_TRUE(documented.contains(reason)) << reason;
  for (const auto& reason : documented) EXPECT_TRUE(all.contains(reason)) << reason;
}

TEST(ErrorTexts, EveryMethodOfTheDispatchTableIsDocumented) {
  const std::string documentation = contentsOf("docs/methods.md");
  const auto methods = matches(contentsOf("core/plugin/method_table.cc"), R"re(\{"(\w+)", )re");
  EXPECT_EQ(methods.size(), 22u);
  for (const auto& method : methods) {
    EXPECT_NE(documentation.find("`" + method + "`"), std::string::npos) << method;
  }
}

}  // namespace
