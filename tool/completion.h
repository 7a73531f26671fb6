// What a shell offers for the word that is being typed.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace quorvin {

struct Candidate {
  std::string word;
  std::string description;  ///< may be empty
};

/// What may stand in one place of a command line.
struct Candidates {
  enum class Paths { none, files, folders };
  Paths paths = Paths::none;  ///< those the shell finds by itself
  std::vector<Candidate> words;
};

/// Reads what an option or an argument may be; the folder is that of the library that the command
/// line names, empty when there is none.
using CandidateSource = std::function<Candidates(const std::string& library)>;

CandidateSource anyFile();
CandidateSource anyFolder();
CandidateSource oneOf(std::vector<std::string> words);
/// The user's albums of the library; none of one that cannot be read.
CandidateSource albumTitles();
CandidateSource deletedAssets();

/// Walks along the command line that `app` describes.
class Completion {
 public:
  Completion(CLI::App& app, const CLI::Option& library) : app_(app), library_(library) {}

  void offer(const CLI::Option* option, CandidateSource source) {
    sources_[option] = std::move(source);
  }

  /// What can stand in place of the last word. Of the others, those may be wrong or incomplete.
  /// `library` is where the library lies unless they name another one.
  Candidates at(const std::vector<std::string>& words, std::string library) const;

 private:
  CLI::App& app_;
  const CLI::Option& library_;
  std::map<const CLI::Option*, CandidateSource> sources_;
};

/// As the shells' scripts read it: a line of "none", "files" or "folders", then one for each
/// candidate, with a tab before its description. What has control characters is left out.
std::string printed(const Candidates& candidates);

}  // namespace quorvin
