#include "testing/engine/engines.h"

#include <poll.h>
#include <stdlib.h>

#include <utility>
#include <variant>

#include "codec/standard_method_codec.h"

namespace quorvin {

Bytes callMessage(const std::string& method, Value arguments) {
  return encodeMethodCall({method, std::move(arguments)});
}

bool isReadable(int fd, int timeoutMs) {
  pollfd watched{fd, POLLIN, 0};
  return poll(&watched, 1, timeoutMs) == 1 && (watched.revents & POLLIN) != 0;
}

Engines::Engines() {
  std::string pattern = testing::TempDir() + "quorvin-engines-XXXXXX";
  folder_ = mkdtemp(pattern.data());
  libraryPath_ = libraryPath();
  temporaryPath_ = folder_ / "temporary";
}

Engines::~Engines() {
  std::filesystem::remove_all(folder_);
}

QuorvinOptions Engines::options() const {
  QuorvinOptions options{};
  options.struct_size = sizeof options;
  options.library_path = libraryPath_.c_str();
  options.temporary_path = temporaryPath_.c_str();
  options.system_version = "17.2";
  options.authorization = 3;
  return options;
}

EnginePointer Engines::open(const QuorvinOptions& options) {
  char* error = nullptr;
  EnginePointer engine(quorvin_engine_create(&options, &error));
  EXPECT_EQ(error, nullptr) << error;
  EXPECT_NE(engine, nullptr);
  quorvin_free(error);
  return engine;
}

EnginePointer Engines::openLibrary(const std::string& path, int authorization) {
  QuorvinOptions opened = options();
  opened.library_path = path.c_str();
  opened.authorization = authorization;
  return open(opened);
}

Answer& Engines::send(QuorvinEngine* engine, const Bytes& message, const char* channel) {
  Answer& answer = answers_.emplace_back();
  quorvin_engine_send(engine, channel, message.data(), message.size(), Answer::record, &answer);
  return answer;
}

void Engines::await(QuorvinEngine* engine, const Answer& answer) {
  while (answer.count == 0) {
    ASSERT_GT(quorvin_engine_run(engine, 60'000), 0U) << "no answer within a minute";
  }
}

Value Engines::result(QuorvinEngine* engine, const std::string& method, Value arguments) {
  const Answer& answer = call(engine, method, std::move(arguments));
  await(engine, answer);
  auto envelope = decodeEnvelope(answer.message);
  if (!envelope || !std::holds_alternative<Value>(*envelope)) {
    ADD_FAILURE() << method << " has no result";
    return {};
  }
  return std::get<Value>(*std::move(envelope));
}

FlutterError Engines::error(QuorvinEngine* engine, const std::string& method, Value arguments) {
  const Answer& answer = call(engine, method, std::move(arguments));
  await(engine, answer);
  const auto envelope = decodeEnvelope(answer.message);
  if (!envelope || !std::holds_alternative<FlutterError>(*envelope)) {
    ADD_FAILURE() << method << " replied no error";
    return {};
  }
  return std::get<FlutterError>(*envelope);
}

}  // namespace quorvin
