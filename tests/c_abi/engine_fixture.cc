#include "tests/c_abi/engine_fixture.h"

#include <poll.h>
#include <stdlib.h>

#include <utility>
#include <variant>

#include "codec/standard_method_codec.h"

namespace quorvin {

void Answer::record(const std::uint8_t* message, std::size_t size, void* answer) {
  auto& self = *static_cast<Answer*>(answer);
  ++self.count;
  self.message.assign(message, message + size);
  self.thread = std::this_thread::get_id();
}

Bytes callMessage(const std::string& method, Value arguments) {
  return encodeMethodCall({method, std::move(arguments)});
}

bool isReadable(int fd, int timeoutMs) {
  pollfd watched{fd, POLLIN, 0};
  return poll(&watched, 1, timeoutMs) == 1 && (watched.revents & POLLIN) != 0;
}

EngineFixture::EngineFixture() {
  std::string pattern = testing::TempDir() + "quorvin-c-abi-XXXXXX";
  folder_ = mkdtemp(pattern.data());
  libraryPath_ = libraryPath();
  temporaryPath_ = folder_ / "temporary";
}

EngineFixture::~EngineFixture() {
  std::filesystem::remove_all(folder_);
}

QuorvinOptions EngineFixture::options() const {
  QuorvinOptions options{};
  options.struct_size = sizeof options;
  options.library_path = libraryPath_.c_str();
  options.temporary_path = temporaryPath_.c_str();
  options.system_version = "17.2";
  options.authorization = 3;
  return options;
}

EnginePointer EngineFixture::open(const QuorvinOptions& options) {
  char* error = nullptr;
  EnginePointer engine(quorvin_engine_create(&options, &error));
  EXPECT_EQ(error, nullptr) << error;
  EXPECT_NE(engine, nullptr);
  quorvin_free(error);
  return engine;
}

Answer& EngineFixture::send(QuorvinEngine* engine, const Bytes& message, const char* channel) {
  Answer& answer = answers_.emplace_back();
  quorvin_engine_send(engine, channel, message.data(), message.size(), Answer::record, &answer);
  return answer;
}

void EngineFixture::await(QuorvinEngine* engine, const Answer& answer) {
  while (answer.count == 0) {
    ASSERT_GT(quorvin_engine_run(engine, 60'000), 0U) << "no answer within a minute";
  }
}

Value EngineFixture::result(QuorvinEngine* engine, const std::string& method, Value arguments) {
  const Answer& answer = call(engine, method, std::move(arguments));
  await(engine, answer);
  auto envelope = decodeEnvelope(answer.message);
  if (!envelope || !std::holds_alternative<Value>(*envelope)) {
    ADD_FAILURE() << method << " has no result";
    return {};
  }
  return std::get<Value>(*std::move(envelope));
}

}  // namespace quorvin
