#include "platform_linux/library/values/families.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <string_view>

#include "media_protocol/letter_case.h"
#include "platform_linux/library/values/pairing.h"

namespace quorvin {
namespace {

constexpr std::string_view kEditedMark = "img_e";

// Where a photo service cuts the names of its side files, and of the photos themselves.
constexpr std::size_t kLongestSideName = 46;
constexpr std::size_t kLongestStem = 47;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isEditedStem(const std::string& stem) {
  return stem.starts_with(kEditedMark) && stem.size() > kEditedMark.size() &&
         std::all_of(stem.begin() + kEditedMark.size(), stem.end(), isDigit);
}

// "(1)" at the end, which is taken off; empty when there is none.
std::string takeNumber(std::string& text) {
  if (!text.ends_with(')')) return {};
  const std::size_t open = text.rfind('(');
  if (open == std::string::npos || open + 2 >= text.size() ||
      !std::all_of(text.begin() + static_cast<std::ptrdiff_t>(open) + 1, text.end() - 1, isDigit)) {
    return {};
  }
  const std::string number = text.substr(open);
  text.resize(open);
  return number;
}

// As much of the ending as was not cut off with the name.
void dropEnding(std::string& text) {
  constexpr std::string_view kEnding = ".supplemental-metadata";
  const std::size_t dot = text.rfind('.');
  if (dot == std::string::npos || text.rfind('.', dot - 1) == std::string::npos || dot == 0) return;
  if (kEnding.starts_with(std::string_view(text).substr(dot))) text.resize(dot);
}

std::string withNumber(const std::string& name, const std::string& number) {
  const std::size_t stem = nameStem(name).size();
  return name.substr(0, stem) + number + name.substr(stem);
}

std::vector<SideTarget> targetsOfTakeout(const std::string& name, const std::string& title) {
  std::string base = lowerCase(nameStem(name));
  const std::string number = takeNumber(base);
  const bool isCut = base.size() >= kLongestSideName;
  dropEnding(base);
  std::vector<SideTarget> targets = {{withNumber(base, number)}};
  if (!isCut || title.empty()) return targets;
  const std::string whole = lowerCase(title);
  targets.push_back({withNumber(whole, number)});
  const std::size_t stem = nameStem(whole).size();
  if (stem > kLongestStem) {
    targets.push_back({withNumber(whole.substr(0, kLongestStem) + whole.substr(stem), number)});
  }
  return targets;
}

std::string familyOfStem(const std::string& stem) {
  return familyOf(stem + ".");
}

}  // namespace

bool isEditedName(const std::string& name) {
  return isEditedStem(lowerCase(nameStem(name)));
}

std::string originalStem(const std::string& name) {
  std::string stem = lowerCase(nameStem(name));
  return isEditedStem(stem) ? stem.erase(kEditedMark.size() - 1, 1) : stem;
}

std::string familyOf(const std::string& name) {
  constexpr std::string_view kMark = "_burst";
  const std::string stem = originalStem(name);
  const std::size_t start = stem.find(kMark);
  if (start == std::string::npos) return stem;
  const auto end = std::find_if_not(stem.begin() + start + kMark.size(), stem.end(), isDigit);
  const std::string mark(stem.begin() + start, end);
  return mark.size() > kMark.size() ? mark : stem;
}

std::string familyByName(const std::string& name) {
  const std::string extension = lowerExtension(name);
  if (extension != "xmp" && extension != "json") return familyOf(name);
  SideNotes notes;
  notes.kind = extension == "xmp" ? SideKind::xmp : SideKind::takeout;
  return familyOf(targetsOf(name, notes).front().name);
}

bool belongTogether(const std::string& folder, const std::string& name,
                    const std::string& nextFolder, const std::string& nextName) {
  return folder == nextFolder && familyByName(name) == familyByName(nextName);
}

std::vector<SideTarget> targetsOf(const std::string& name, const SideNotes& notes) {
  const std::string stem = lowerCase(nameStem(name));
  switch (notes.kind) {
    case SideKind::adjustment:
      return {{originalStem(name), true}};
    case SideKind::xmp:
      return {{stem}, {stem, true}};
    case SideKind::takeout:
      return targetsOfTakeout(name, notes.title);
    case SideKind::none:
    case SideKind::album:
      break;
  }
  return {};
}

std::int64_t familyNumber(std::int64_t folder, const std::string& family) {
  return static_cast<std::int64_t>(
      XXH3_64bits_withSeed(family.data(), family.size(), static_cast<std::uint64_t>(folder)));
}

std::vector<std::int64_t> familyNumbers(std::int64_t folder, const std::string& name,
                                        const SideNotes& notes) {
  if (notes.kind == SideKind::none) return {familyNumber(folder, familyOf(name))};
  std::vector<std::int64_t> numbers;
  for (const SideTarget& target : targetsOf(name, notes)) {
    const std::string family = target.isStem ? familyOfStem(target.name) : familyOf(target.name);
    numbers.push_back(familyNumber(folder, family));
  }
  if (notes.exported) {
    for (const NotedPart& part : notes.exported->parts) {
      numbers.push_back(familyNumber(folder, familyOf(part.name)));
    }
  }
  std::ranges::sort(numbers);
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  return numbers;
}

}  // namespace quorvin
