// quorvin: a photo library from the command line.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>

#include "host/locations.h"
#include "tool/commands.h"

namespace quorvin {

void complain(const std::string& sentence) {
  std::fprintf(stderr, "quorvin: %s\n", sentence.c_str());
}

namespace {

constexpr const char* kVersion = "quorvin " QUORVIN_VERSION;

class Tool {
 public:
  Tool() {
    app_.set_version_flag("--version", kVersion);
    app_.add_option("--library", library_, "Folder of the photo library")
        ->envname("QUORVIN_LIBRARY")
        ->type_name("DIR");
    app_.require_subcommand(1);
    app_.fallthrough();
    addImport();
    addCall();
    addAuthorize();
    addInfo();
  }

  int run(int argc, char** argv) {
    try {
      app_.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
      return app_.exit(error) == 0 ? kSuccess : kUsage;
    }
    if (library_.empty()) {
      const auto path = defaultLibraryPath();
      if (!path) {
        complain(path.error().localizedDescription);
        return kFailure;
      }
      library_ = *path;
    }
    return command_();
  }

 private:
  CLI::App* add(const std::string& name, const std::string& description) {
    CLI::App* sub = app_.add_subcommand(name, description);
    sub->set_version_flag("--version", kVersion);
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

  void addImport() {
    CLI::App* sub = add("import", "Add files, or folders recursively, to the library");
    sub->add_option("--album", import_.album, "Album that receives what is added")
        ->type_name("TITLE");
    sub->add_option("PATH", import_.paths, "Files and folders")->required()->type_name("");
    runs(sub, import_);
  }

  void addCall() {
    CLI::App* sub = add("call", "Send one method call and print the reply as one line of JSON");
    sub->add_option("METHOD", call_.method, "The method's name")->required()->type_name("");
    sub->add_option("JSON", call_.arguments, "Its arguments; - reads them from standard input")
        ->type_name("");
    sub->add_option("--out", call_.out, "Write the reply's bytes to this file")->type_name("FILE");
    sub->add_option("--timeout", call_.timeout, "Give up waiting for a reply after this long")
        ->type_name("SECONDS")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    runs(sub, call_);
  }

  void addAuthorize() {
    CLI::App* sub = add("authorize", "Store what engines without a status of their own may see");
    sub->add_option("STATUS", authorize_.status, "The status")
        ->required()
        ->check(CLI::IsMember(AuthorizeCommand::statuses()));
    runs(sub, authorize_);
  }

  void addInfo() {
    CLI::App* sub = add("info", "Say what the library holds");
    sub->add_flag("--json", info_.json, "For programs");
    runs(sub, info_);
  }

  CLI::App app_{"A photo library from the command line", "quorvin"};
  std::string library_;
  ImportCommand import_;
  CallCommand call_;
  AuthorizeCommand authorize_;
  InfoCommand info_;
  std::function<int()> command_;
};

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  return quorvin::Tool().run(argc, argv);
}
