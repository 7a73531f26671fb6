// MPEG-4 files name languages by the codes of ISO 639-2, of which some have two, that of the
// language's own name first. QuickTime movies number the languages of a list, which FFmpeg calls
// now by the one code, now by the other, now by an older one; what it does not find there is lost.
#include "media_worker/export/track_language.h"

#include <algorithm>
#include <array>

namespace quorvin {

namespace {

struct Language {
  std::string_view own;      ///< ISO 639-2/T
  std::string_view other;    ///< ISO 639-2/B
  std::string_view inMovie;  ///< of QuickTime's list
};

constexpr std::array kLanguages{
    Language{"bod", "tib", "tib"}, Language{"ces", "cze", "ces"}, Language{"cym", "wel", "wel"},
    Language{"deu", "ger", "ger"}, Language{"ell", "gre", "gre"}, Language{"eus", "baq", "baq"},
    Language{"fao", "fao", "fo "}, Language{"fra", "fre", "fra"}, Language{"gle", "gle", "iri"},
    Language{"hrv", "scr", "hr "}, Language{"hye", "arm", "arm"}, Language{"isl", "ice", "ice"},
    Language{"kat", "geo", "geo"}, Language{"mkd", "mac", "mac"}, Language{"msa", "may", "may"},
    Language{"mya", "bur", "bur"}, Language{"nld", "dut", "dut"}, Language{"pan", "pan", "pa "},
    Language{"ron", "rum", "ron"}, Language{"slk", "slo", "slk"}, Language{"sqi", "alb", "alb"},
    Language{"srp", "scc", "sr "}, Language{"swe", "swe", "sve"}, Language{"zho", "chi", "chi"}};

}  // namespace

std::string languageIn(VideoContainer container, std::string_view language) {
  const auto found = std::ranges::find_if(kLanguages, [language](const Language& each) {
    return language == each.own || language == each.other || language == each.inMovie;
  });
  if (found == kLanguages.end()) return std::string(language);
  return std::string(container == VideoContainer::quickTime ? found->inMovie : found->own);
}

}  // namespace quorvin
