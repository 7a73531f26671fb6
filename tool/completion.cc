#include "tool/completion.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <set>
#include <utility>

#include "platform_linux/library/upkeep/administration.h"
#include "platform_linux/library/upkeep/trash.h"

namespace quorvin {
namespace {

bool takesValue(const CLI::Option& option) {
  return option.get_items_expected_max() > 0;
}

bool takesMany(const CLI::Option& option) {
  return option.get_items_expected_max() > 1;
}

std::string inOneLine(std::string text) {
  std::ranges::replace(text, '\n', ' ');
  return text;
}

/// Shells do not expand it behind an equals sign, or in quotes.
std::string withHome(const std::string& path) {
  const char* home = std::getenv("HOME");
  return home != nullptr && path.starts_with("~/") ? home + path.substr(1) : path;
}

/// Where one stands on the command line after some words.
class Place {
 public:
  Place(CLI::App& app, const CLI::Option& library) : root_(app), app_(&app), library_(library) {}

  void pass(const std::string& word) {
    if (expected_ != nullptr) {
      take(*std::exchange(expected_, nullptr), word);
    } else if (!onlyArguments_ && word == "--") {
      onlyArguments_ = true;
    } else if (!onlyArguments_ && word.size() > 1 && word.front() == '-') {
      passOption(word);
    } else if (CLI::App* sub = subcommand(word)) {
      app_ = sub;
    } else {
      ++arguments_;
    }
  }

  /// The option, or argument, whose value comes next; null when none does.
  const CLI::Option* expected(const std::string& word) const {
    if (expected_ != nullptr) return expected_;
    if (isOption(word)) {
      return word.find('=') == std::string::npos ? nullptr : named(word.substr(0, word.find('=')));
    }
    std::size_t at = 0;
    for (const CLI::Option* option : std::as_const(*app_).get_options()) {
      if (!option->get_positional()) continue;
      if (at == arguments_ || takesMany(*option)) return option;
      ++at;
    }
    return nullptr;
  }

  /// Is this word the name of an option, or is to be one?
  bool isOption(const std::string& word) const {
    return expected_ == nullptr && !onlyArguments_ && word.starts_with('-');
  }

  std::vector<Candidate> options() const {
    std::vector<Candidate> found;
    for (const CLI::App* app : {app_, &root_}) {
      for (const CLI::Option* option : app->get_options()) {
        if (option->get_lnames().empty() || used_.contains(option)) continue;
        const std::string name = "--" + option->get_lnames().front();
        if (std::ranges::find(found, name, &Candidate::word) == found.end()) {
          found.push_back({name, inOneLine(option->get_description())});
        }
      }
    }
    return found;
  }

  std::vector<Candidate> subcommands() const {
    std::vector<Candidate> found;
    if (arguments_ > 0) return found;
    for (const CLI::App* app : std::as_const(*app_).get_subcommands({})) {
      found.push_back({app->get_name(), inOneLine(app->get_description())});
    }
    return found;
  }

  /// The one that the words named, empty when they named none.
  const std::string& library() const { return named_; }

 private:
  const CLI::Option* named(const std::string& name) const {
    const CLI::Option* option = std::as_const(*app_).get_option_no_throw(name);
    return option != nullptr ? option : std::as_const(root_).get_option_no_throw(name);
  }

  CLI::App* subcommand(const std::string& name) const {
    if (arguments_ > 0) return nullptr;
    const auto all =
        app_->get_subcommands([&name](CLI::App* app) { return app->get_name() == name; });
    return all.empty() ? nullptr : all.front();
  }

  void passOption(const std::string& word) {
    const std::size_t equals = word.find('=');
    const CLI::Option* option = named(word.substr(0, equals));
    if (option == nullptr) return;
    used_.insert(option);
    if (!takesValue(*option)) return;
    if (equals == std::string::npos) {
      expected_ = option;
    } else {
      take(*option, word.substr(equals + 1));
    }
  }

  void take(const CLI::Option& option, const std::string& value) {
    if (&option == &library_) named_ = withHome(value);
  }

  CLI::App& root_;
  CLI::App* app_;
  const CLI::Option& library_;
  const CLI::Option* expected_ = nullptr;  ///< its name was the last word
  bool onlyArguments_ = false;
  std::size_t arguments_ = 0;
  std::set<const CLI::Option*> used_;
  std::string named_;
};

}  // namespace

CandidateSource anyFile() {
  return [](const std::string&) { return Candidates{Candidates::Paths::files, {}}; };
}

CandidateSource anyFolder() {
  return [](const std::string&) { return Candidates{Candidates::Paths::folders, {}}; };
}

CandidateSource oneOf(std::vector<std::string> words) {
  return [words = std::move(words)](const std::string&) {
    Candidates candidates;
    for (const std::string& word : words) candidates.words.push_back({word, ""});
    return candidates;
  };
}

CandidateSource albumTitles() {
  return [](const std::string& library) {
    Candidates candidates;
    const auto titles = albumTitlesOf(library);
    if (!titles) return candidates;
    for (const std::string& title : *titles) candidates.words.push_back({title, ""});
    return candidates;
  };
}

CandidateSource deletedAssets() {
  return [](const std::string& library) {
    Candidates candidates;
    const auto assets = listTrash(library);
    if (!assets) return candidates;
    for (const TrashedAsset& asset : *assets) {
      candidates.words.push_back({asset.localIdentifier, asset.originalFilename});
    }
    return candidates;
  };
}

Candidates Completion::at(const std::vector<std::string>& words, std::string library) const {
  Place place(app_, library_);
  const std::string word = words.empty() ? "" : words.back();
  for (std::size_t i = 0; i + 1 < words.size(); ++i) place.pass(words[i]);
  if (!place.library().empty()) library = place.library();

  Candidates candidates;
  const CLI::Option* expected = place.expected(word);
  const bool isOption = place.isOption(word);
  if (expected != nullptr) {
    const auto source = sources_.find(expected);
    if (source != sources_.end()) candidates = source->second(library);
    // "--album=Hol" is completed as a whole.
    if (isOption) {
      const std::string name = word.substr(0, word.find('=') + 1);
      for (Candidate& candidate : candidates.words) candidate.word.insert(0, name);
    }
  } else if (isOption) {
    candidates.words = place.options();
  } else {
    candidates.words = place.subcommands();
  }
  std::erase_if(candidates.words, [&word](const Candidate& candidate) {
    return candidate.word.empty() || !candidate.word.starts_with(word);
  });
  return candidates;
}

std::string printed(const Candidates& candidates) {
  constexpr std::string_view kPaths[] = {"none", "files", "folders"};
  const auto hasControls = [](const std::string& text) {
    return std::ranges::any_of(
        text, [](char byte) { return static_cast<unsigned char>(byte) < ' ' || byte == 0x7f; });
  };
  std::string lines(kPaths[static_cast<std::size_t>(candidates.paths)]);
  lines += '\n';
  for (const auto& [word, description] : candidates.words) {
    if (hasControls(word)) continue;
    lines += word;
    if (!description.empty() && !hasControls(description)) lines += '\t' + description;
    lines += '\n';
  }
  return lines;
}

}  // namespace quorvin
