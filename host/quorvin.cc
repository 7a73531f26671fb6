// The C interface. Nothing is thrown across it.
#include "include/quorvin/quorvin.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "host/engine.h"
#include "host/engine_options.h"
#include "platform_linux/errors/presented.h"

using quorvin::Engine;

/// An engine that is destroyed inside one of its own callbacks is shut down at once, but goes only
/// when the outermost call on it has returned.
struct QuorvinEngine {
  std::unique_ptr<Engine> engine;
  int calls = 0;  ///< send and run, under way
  bool destroyed = false;
};

namespace {

class CallUnderWay {
 public:
  explicit CallUnderWay(QuorvinEngine* engine) : engine_(engine) { ++engine_->calls; }
  ~CallUnderWay() {
    if (--engine_->calls == 0 && engine_->destroyed) delete engine_;
  }
  CallUnderWay(const CallUnderWay&) = delete;
  CallUnderWay& operator=(const CallUnderWay&) = delete;

 private:
  QuorvinEngine* engine_;
};

void setError(char** error, const char* text) {
  if (error != nullptr) *error = strdup(text);
}

void sendMessage(QuorvinEngine& engine, const char* channel, std::span<const std::uint8_t> message,
                 QuorvinReplyCallback reply, void* userData) {
  engine.engine->send(channel, message, [reply, userData](std::span<const std::uint8_t> answer) {
    if (reply != nullptr) reply(answer.empty() ? nullptr : answer.data(), answer.size(), userData);
  });
}

}  // namespace

uint32_t quorvin_abi_version(void) {
  return 1;
}

const char* quorvin_version(void) {
  return QUORVIN_VERSION;
}

QuorvinEngine* quorvin_engine_create(const QuorvinOptions* options, char** error) {
  if (error != nullptr) *error = nullptr;
  try {
    auto read = quorvin::readEngineOptions(options);
    if (!read) {
      // The caller's own mistake, which needs no mark.
      setError(error, read.error().reason.c_str());
      return nullptr;
    }
    auto engine = Engine::create(*std::move(read));
    if (!engine) {
      setError(error, quorvin::presented(engine.error()).localizedDescription.c_str());
      return nullptr;
    }
    return new QuorvinEngine{*std::move(engine)};
  } catch (const std::exception& failure) {
    setError(error, failure.what());
  } catch (...) {
    setError(error, "The engine could not be opened.");
  }
  return nullptr;
}

void quorvin_engine_destroy(QuorvinEngine* engine) {
  if (engine == nullptr || engine->destroyed) return;
  engine->destroyed = true;
  // A callback may run in here that destroys the engine again or sends: the count keeps it alive.
  const CallUnderWay underWay(engine);
  engine->engine->shutDown();
}

void quorvin_engine_send(QuorvinEngine* engine, const char* channel, const uint8_t* message,
                         size_t size, QuorvinReplyCallback reply, void* user_data) {
  if (engine == nullptr || channel == nullptr) {
    if (reply != nullptr) reply(nullptr, 0, user_data);
    return;
  }
  const CallUnderWay underWay(engine);
  try {
    // A message without bytes is no well-formed call, whatever size is claimed for it.
    sendMessage(*engine, channel, {message, message != nullptr ? size : 0}, reply, user_data);
  } catch (...) {
    // Nothing was sent: memory ran out before the message had its place among the unanswered.
    if (reply != nullptr) reply(nullptr, 0, user_data);
  }
}

void quorvin_engine_receive(QuorvinEngine* engine, QuorvinMessageCallback receive,
                            void* user_data) {
  if (engine == nullptr || engine->destroyed) return;
  try {
    if (receive == nullptr) return engine->engine->receive(nullptr);
    engine->engine->receive([receive, user_data](std::span<const std::uint8_t> message) {
      receive(quorvin::kChangeChannelName, message.data(), message.size(), user_data);
    });
  } catch (...) {
    // Memory ran out before anything was listened to.
  }
}

int quorvin_engine_fd(const QuorvinEngine* engine) {
  return engine != nullptr ? engine->engine->fd() : -1;
}

size_t quorvin_engine_run(QuorvinEngine* engine, int timeout_ms) {
  if (engine == nullptr) return 0;
  const CallUnderWay underWay(engine);
  return engine->engine->run(timeout_ms);
}

void quorvin_free(void* memory) {
  std::free(memory);
}
