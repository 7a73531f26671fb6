// quorvin: a photo library from the command line.
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <system_error>

#include "core/plugin/method_table.h"
#include "host/locations.h"
#include "tool/commands.h"
#include "tool/completion.h"
#include "tool/text.h"

namespace quorvin {

void complain(const std::string& sentence) {
  std::fprintf(stderr, "quorvin: %s\n", printable(sentence).c_str());
}

namespace {

constexpr const char* kVersion = "quorvin " QUORVIN_VERSION;

std::string refuseEmpty(const std::string& text) {
  return text.empty() ? "must not be empty" : "";
}

// One that is missing may come later.
std::string refuseNoFolder(const std::string& text) {
  std::error_code error;
  const auto status = std::filesystem::status(text, error);
  const bool isOther = std::filesystem::exists(status) && !std::filesystem::is_directory(status);
  return isOther ? "“" + text + "” is no folder" : refuseEmpty(text);
}

std::string refuseNoSeconds(const std::string& text) {
  double seconds = 0;
  return CLI::detail::lexical_cast(text, seconds) && seconds >= 0
             ? ""
             : "must be a number of seconds, 0 or more";
}

class Tool {
 public:
  Tool() {
    app_.set_version_flag("--version", kVersion);
    libraryOption_->envname("QUORVIN_LIBRARY")
        ->type_name("DIR")
        ->check(CLI::Validator(refuseEmpty, ""));
    completion_.offer(libraryOption_, anyFolder());
    app_.failure_message([](const CLI::App*, const CLI::Error& error) {
      return "quorvin: " + printable(error.what()) + "\nquorvin --help explains the usage.\n";
    });
    app_.get_formatter()->label("Positionals", "Arguments");
    app_.get_formatter()->label("REQUIRED", "");
    app_.get_formatter()->label("Excludes", "not with");
    app_.require_subcommand(1);
    app_.fallthrough();
    addImport();
    addWatch();
    addCall();
    addAuthorize();
    addTrash();
    addCheck();
    addBackup();
    addExport();
    addDoctor();
    addInfo();
    addPreviews();
    addServe();
  }

  int run(int argc, char** argv) {
    try {
      app_.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
      return explain(error);
    }
    if (library_.empty()) {
      const auto path = defaultLibraryPath();
      if (!path) {
        complain(path.error().sentence());
        return kFailure;
      }
      library_ = *path;
      serve_.isDefaultLibrary = true;
    }
    return written(command_());
  }

  /// Prints what can stand in place of the last word, for shells; what goes wrong is told to
  /// nobody.
  int complete(const std::vector<std::string>& words) {
    const char* named = std::getenv("QUORVIN_LIBRARY");
    std::string library = named != nullptr ? named : "";
    if (const auto path = defaultLibraryPath(); library.empty() && path) library = *path;
    std::fputs(printed(completion_.at(words, library)).c_str(), stdout);
    return kSuccess;
  }

 private:
  int explain(const CLI::ParseError& error) const {
    const CLI::App* last = &app_;
    while (!last->get_subcommands().empty()) last = last->get_subcommands().front();
    const auto unknown = app_.remaining(true);
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError) &&
        last->get_require_subcommand_min() > 0 && !unknown.empty()) {
      return explain(CLI::ExtrasError("there is no subcommand " + unknown.front(),
                                      CLI::ExitCodes::ExtrasError));
    }
    return app_.exit(error) == 0 ? kSuccess : kUsage;
  }

  /// A full disk under a redirected output is a failure like any other.
  static int written(int status) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
    complain("standard output could not be written");
    return kFailure;
  }

  CLI::App* add(const std::string& name, const std::string& description) {
    return addTo(app_, name, description);
  }

  static CLI::App* addTo(CLI::App& parent, const std::string& name,
                         const std::string& description) {
    CLI::App* sub = parent.add_subcommand(name, description);
    sub->set_version_flag("--version", kVersion);
    sub->footer(
        "--library DIR, or QUORVIN_LIBRARY in the environment, names the library.\n"
        "Without either it is ~/.local/share/quorvin/library.");
    return sub;
  }

  template <class Command>
  void runs(CLI::App* sub, Command& command) {
    sub->callback([this, &command] {
      command_ = [this, &command] {
        command.library = library_;
        return command.run();
      };
    });
  }

  CLI::Option* addAlbum(CLI::App* sub, std::optional<std::string>& album,
                        const std::string& description) {
    CLI::Option* option = sub->add_option("--album", album, description)
                              ->type_name("TITLE")
                              ->check(CLI::Validator(refuseEmpty, ""));
    completion_.offer(option, albumTitles());
    return option;
  }

  void addImport() {
    CLI::App* sub = add("import", "Add files, or folders recursively, to the library");
    addAlbum(sub, import_.album, "Album that receives what is added");
    sub->add_flag("--albums", import_.foldersAreAlbums,
                  "Make every folder an album that receives what lies in it");
    sub->add_flag("--dry-run", import_.dryRun,
                  "Say what would come in, and change nothing; no library is made");
    sub->add_flag("--json", import_.json,
                  "Print a line of JSON for each file, and a last one of all");
    completion_.offer(
        sub->add_option("PATH", import_.paths, "Files and folders")->required()->type_name(""),
        anyFile());
    runs(sub, import_);
  }

  void addWatch() {
    CLI::App* sub = add("watch", "Add what appears in folders to the library, until it is ended");
    addAlbum(sub, watch_.album, "Album that receives what is added");
    sub->add_flag("--albums", watch_.foldersAreAlbums,
                  "Add each folder's files to an album of the folder's name as well");
    completion_.offer(sub->add_option("DIR", watch_.folders, "The folders, searched recursively")
                          ->required()
                          ->type_name("")
                          ->check(CLI::Validator(refuseNoFolder, "")),
                      anyFolder());
    runs(sub, watch_);
  }

  void addCall() {
    CLI::App* sub = add("call", "Send one method call and print the reply as one line of JSON");
    const auto methods = MethodTable::names();
    completion_.offer(
        sub->add_option("METHOD", call_.method, "The method's name")->required()->type_name(""),
        oneOf({methods.begin(), methods.end()}));
    sub->add_option("JSON", call_.arguments, "Its arguments; - reads them from standard input")
        ->type_name("");
    completion_.offer(sub->add_option("--out", call_.out, "Write the reply's bytes to this file")
                          ->type_name("FILE"),
                      anyFile());
    sub->add_option("--timeout", call_.timeout, "Give up waiting for a reply after this long")
        ->type_name("SECONDS")
        ->check(CLI::Validator(refuseNoSeconds, ""))
        ->capture_default_str();
    runs(sub, call_);
  }

  void addAuthorize() {
    CLI::App* sub = add("authorize",
                        "Store the authorisation status that engines without one of their own use");
    completion_.offer(sub->add_option("STATUS", authorize_.status, "The status")
                          ->required()
                          ->check(CLI::IsMember(AuthorizeCommand::statuses())),
                      oneOf(AuthorizeCommand::statuses()));
    runs(sub, authorize_);
  }

  void addTrash() {
    CLI::App* sub = add("trash", "Deleted assets, which can be restored for 30 days");
    sub->require_subcommand(1);
    sub->fallthrough();
    const auto action = [this, sub](const char* name, const char* description,
                                    TrashCommand::Action what) {
      CLI::App* added = addTo(*sub, name, description);
      added->callback([this, what] {
        command_ = [this, what] {
          trash_.library = library_;
          trash_.action = what;
          return trash_.run();
        };
      });
      return added;
    };
    action("list", "List them: identifier, name, size and last day", TrashCommand::Action::list);
    completion_.offer(
        action("restore", "Bring some of them back", TrashCommand::Action::restore)
            ->add_option("ID", trash_.identifiers, "Identifiers, as the list has them")
            ->required()
            ->type_name(""),
        deletedAssets());
    action("empty", "Remove all of them for good", TrashCommand::Action::empty);
  }

  void addCheck() {
    CLI::App* sub = add("check", "Verify the catalogue, and that every original is there");
    sub->add_flag("--content", check_.content, "Read every original and compare its checksum");
    sub->add_flag("--repair", check_.repair,
                  "Put right what can be put right without losing an original,\n"
                  "a catalogue that is missing, empty or damaged included");
    sub->add_flag("--json", check_.json, "Print JSON, for programs");
    runs(sub, check_);
  }

  void addExport() {
    CLI::App* sub = add("export", "Write assets into a folder as ordinary files");
    completion_.offer(sub->add_option("DIR", export_.target, "The folder, made where it is missing")
                          ->required()
                          ->type_name("")
                          ->check(CLI::Validator(refuseEmpty, "")),
                      anyFolder());
    CLI::Option* album = addAlbum(sub, export_.album, "Only the assets of this album");
    sub->add_flag("--all", export_.all, "All assets, as without --album")->excludes(album);
    CLI::Option* original =
        sub->add_flag("--original", export_.original, "Only the files that came from the camera");
    sub->add_flag("--current", export_.current, "Only what is shown: of edited photos the result")
        ->excludes(original);
    CLI::Option* layout =
        sub->add_option("--layout", export_.layout,
                        "Folders by year and month (date), or one for each album (album)")
            ->transform(CLI::IsMember({"date", "album"}, CLI::ignore_case))
            ->capture_default_str();
    completion_.offer(layout, oneOf({"date", "album"}));
    runs(sub, export_);
  }

  void addBackup() {
    CLI::App* sub = add("backup", "Make a folder a second library that holds what this one does");
    completion_.offer(sub->add_option("DIR", backup_.target, "The folder, or an earlier backup")
                          ->required()
                          ->type_name("")
                          ->check(CLI::Validator(refuseEmpty, "")),
                      anyFolder());
    sub->add_flag("--copy", backup_.copy, "Make no hard links to originals");
    runs(sub, backup_);
  }

  void addDoctor() {
    CLI::App* sub = add("doctor",
                        "Say how this machine and the library stand;\n"
                        "status 1 when something needs attention");
    sub->add_flag("--json", doctor_.json, "Print JSON, for programs");
    sub->add_flag("--forget", doctor_.forget,
                  "Have files tried again that were set aside, as media workers failed over them");
    runs(sub, doctor_);
  }

  void addInfo() {
    CLI::App* sub = add("info", "Say what the library holds");
    sub->add_flag("--json", info_.json, "Print JSON, for programs");
    runs(sub, info_);
  }

  void addPreviews() {
    runs(add("previews", "Make the previews that are missing, which otherwise come by and by"),
         previews_);
  }

  void addServe() {
    CLI::App* sub =
        add("serve", "Show the library in a browser on this machine, until it is ended");
    sub->add_option("--port", serve_.port, "The port to listen on; 0 is any that is free")
        ->type_name("N")
        ->check(CLI::Validator(refuseEmpty, ""))
        ->capture_default_str();
    sub->add_flag("--open", serve_.open,
                  "Open it in the browser, and end five minutes after nobody uses it any more");
    runs(sub, serve_);
  }

  CLI::App app_{"A photo library from the command line", "quorvin"};
  std::string library_;
  CLI::Option* libraryOption_ =
      app_.add_option("--library", library_, "Folder of the photo library");
  Completion completion_{app_, *libraryOption_};
  ImportCommand import_;
  WatchCommand watch_;
  CallCommand call_;
  AuthorizeCommand authorize_;
  TrashCommand trash_;
  CheckCommand check_;
  BackupCommand backup_;
  ExportCommand export_;
  DoctorCommand doctor_;
  InfoCommand info_;
  PreviewsCommand previews_;
  ServeCommand serve_;
  std::function<int()> command_;
};

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  // A file that may not grow any more is an error of that file, and not the end of the program.
  std::signal(SIGXFSZ, SIG_IGN);
  quorvin::Tool tool;
  // For the shells, and not a subcommand: what is being typed need not be right yet.
  if (argc > 1 && std::string_view(argv[1]) == "__complete") {
    return tool.complete({argv + 2, argv + argc});
  }
  return tool.run(argc, argv);
}
