// The documentation of the error texts, against the texts themselves.
#include <gtest/gtest.h>

#include <algorithm>
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

TEST(ErrorTexts, EveryMethodOfTheDispatchTableIsDocumented) {
  const std::string documentation = contentsOf("docs/methods.md");
  const auto methods = matches(contentsOf("core/plugin/method_table.cc"), R"re(\{"(\w+)", )re");
  EXPECT_EQ(methods.size(), 22u);
  for (const auto& method : methods) {
    EXPECT_NE(documentation.find("`" + method + "`"), std::string::npos) << method;
  }
}

}  // namespace
