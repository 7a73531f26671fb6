#include "tests/crash/changer_engine.h"

#include <sys/socket.h>

#include <algorithm>
#include <utility>
#include <variant>

#include "codec/standard_method_codec.h"
#include "testing/engine/answer.h"
#include "tests/crash/file_record.h"

namespace quorvin {
namespace {

constexpr int kJournal = 1;

}  // namespace

void tell(std::vector<std::string> words) {
  std::string line;
  for (const std::string& word : words) line += (line.empty() ? "" : "\t") + word;
  line += "\n";
  // Not `write`, which may be made to fail.
  ::send(kJournal, line.data(), line.size(), MSG_NOSIGNAL);
  if (words.front() == "done") recordAnswer();
}

bool isToEnd() {
  char byte = 0;
  return ::recv(kJournal, &byte, 1, MSG_DONTWAIT) == 0;
}

Engine::Engine(const std::string& library, const std::string& temporary) {
  QuorvinOptions options{};
  options.struct_size = sizeof options;
  options.library_path = library.c_str();
  options.temporary_path = temporary.c_str();
  options.authorization = 3;
  char* error = nullptr;
  engine_.reset(quorvin_engine_create(&options, &error));
  if (engine_ == nullptr) tell({"error", error == nullptr ? "no reason" : error});
  quorvin_free(error);
}

std::optional<Value> Engine::call(const std::string& method, Value arguments) {
  Answer answer;
  const auto message = encodeMethodCall({method, std::move(arguments)});
  quorvin_engine_send(engine_.get(), "quorvin", message.data(), message.size(), Answer::record,
                      &answer);
  while (answer.count == 0) quorvin_engine_run(engine_.get(), -1);
  auto envelope = decodeEnvelope(answer.message);
  if (envelope && std::holds_alternative<Value>(*envelope)) {
    return std::get<Value>(*std::move(envelope));
  }
  std::string text = "no reply";
  if (envelope) {
    const auto& error = std::get<FlutterError>(*envelope);
    text = error.message + " " + std::string(error.details.text());
  }
  std::replace(text.begin(), text.end(), '\n', ' ');
  tell({"error", text});
  return std::nullopt;
}

}  // namespace quorvin
