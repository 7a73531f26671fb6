#include "bench/bench_engine.h"

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>
#include <variant>

#include "codec/standard_method_codec.h"

namespace quorvin {
namespace {

struct Answer {
  bool came = false;
  std::size_t size = 0;
  std::vector<std::uint8_t>* copy = nullptr;

  static void record(const std::uint8_t* message, std::size_t size, void* answer) {
    auto& self = *static_cast<Answer*>(answer);
    self.came = true;
    self.size = size;
    if (self.copy != nullptr) self.copy->assign(message, message + size);
  }
};

void exchange(QuorvinEngine* engine, const std::vector<std::uint8_t>& message, Answer& answer) {
  quorvin_engine_send(engine, "quorvin", message.data(), message.size(), Answer::record, &answer);
  while (!answer.came) quorvin_engine_run(engine, -1);
}

[[noreturn]] void giveUp(const std::string& reason) {
  std::fprintf(stderr, "%s\n", reason.c_str());
  std::exit(1);
}

}  // namespace

BenchFolder::BenchFolder() {
  path_ = (std::filesystem::temp_directory_path() / "quorvin-bench-XXXXXX").string();
  if (::mkdtemp(path_.data()) == nullptr) giveUp("There is no place for a folder of the bench.");
}

BenchFolder::~BenchFolder() {
  std::error_code error;
  std::filesystem::remove_all(path_, error);
}

std::vector<std::uint8_t> callMessage(const std::string& method, Value arguments) {
  return encodeMethodCall({method, std::move(arguments)});
}

BenchEngine::BenchEngine(const std::string& library) {
  QuorvinOptions options{};
  options.struct_size = sizeof options;
  options.library_path = library.c_str();
  const std::string exports = std::filesystem::temp_directory_path();  // TMPDIR counts here
  options.temporary_path = exports.c_str();
  options.authorization = 3;
  char* error = nullptr;
  engine_.reset(quorvin_engine_create(&options, &error));
  if (engine_ == nullptr) giveUp(error == nullptr ? "out of memory" : error);
}

std::size_t BenchEngine::send(const std::vector<std::uint8_t>& message) {
  Answer answer;
  exchange(engine_.get(), message, answer);
  return answer.size;
}

void BenchEngine::sendAll(const std::vector<std::vector<std::uint8_t>>& messages) {
  std::vector<Answer> answers(messages.size());
  for (std::size_t i = 0; i < messages.size(); ++i) {
    quorvin_engine_send(engine_.get(), "quorvin", messages[i].data(), messages[i].size(),
                        Answer::record, &answers[i]);
  }
  for (const Answer& answer : answers) {
    while (!answer.came) quorvin_engine_run(engine_.get(), -1);
  }
}

Value BenchEngine::call(const std::string& method, Value arguments) {
  std::vector<std::uint8_t> reply;
  Answer answer{.copy = &reply};
  exchange(engine_.get(), callMessage(method, std::move(arguments)), answer);
  auto envelope = decodeEnvelope(reply);
  if (!envelope || !std::holds_alternative<Value>(*envelope)) giveUp(method + " failed");
  return std::get<Value>(*std::move(envelope));
}

}  // namespace quorvin
