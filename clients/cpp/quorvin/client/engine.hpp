// One engine: messages there and back.
#ifndef QUORVIN_CLIENT_ENGINE_HPP_
#define QUORVIN_CLIENT_ENGINE_HPP_

#include <quorvin/quorvin.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <quorvin/client/arguments.hpp>
#include <quorvin/client/errors.hpp>
#include <quorvin/client/value.hpp>
#include <string>
#include <thread>
#include <utility>

namespace quorvin {
namespace client {

/// How to open an engine; what is left out is the library's default.
struct Options {
  /// The folder of the photo library; one that is missing becomes a new library.
  std::optional<std::string> libraryPath;
  /// The folder below which exported files are written.
  std::optional<std::string> temporaryPath;
  /// The text after "iOS " in the reply of getPlatformVersion.
  std::optional<std::string> systemVersion;
  /// What is to be seen, for this engine alone; else as the library stores it.
  std::optional<Authorization> authorization;
  /// Asks the user for an authorization, when nothing was decided yet. None: it stays as it is.
  std::function<std::optional<Authorization>()> requestAuthorization;
  /// Asks the user whether so many assets may be deleted.
  std::function<bool(std::size_t count)> confirmDeletion;
};

/// Is used on the thread that makes it, its platform thread, and ends there. Every callback comes
/// on that thread, inside `send`, `run` or the end; what it throws leaves that call, and is dropped
/// at the end. Callbacks may call all functions, and end the engine.
class Engine {
 public:
  /// Takes the reply: no bytes when nobody implements the method, and none at all when the engine
  /// ended first.
  using Reply = std::function<void(std::optional<BytesView>)>;
  using Receiver = std::function<void(const char* channel, BytesView message)>;

  /// Throws an `OpenError`.
  explicit Engine(const Options& options) : state_(std::make_shared<State>()) {
    state_->requestAuthorization = options.requestAuthorization;
    state_->confirmDeletion = options.confirmDeletion;
    open(options);
  }
  Engine(Engine&&) = default;
  Engine& operator=(Engine&& other) noexcept {
    if (this != &other) close();
    state_ = std::move(other.state_);
    return *this;
  }
  ~Engine() { close(); }

  /// Ends it: who waits for a reply is told so, and nothing is called back any more.
  void close() noexcept {
    if (state_ == nullptr || state_->engine == nullptr) return;
    const std::shared_ptr<State> state = state_;
    QuorvinEngine* const engine = std::exchange(state->engine, nullptr);
    quorvin_engine_destroy(engine);
    state->receiver.reset();
    state->thrown = nullptr;
  }

  bool isOpen() const { return state_ != nullptr && state_->engine != nullptr; }

  /// For poll and event loops: readable while work waits for `run`. Any thread.
  int fd() const { return isOpen() ? quorvin_engine_fd(state_->engine) : -1; }

  /// Runs what waits, and returns how much that was. When nothing does, waits for something, for so
  /// many milliseconds or, below 0, for as long as it takes.
  std::size_t run(int timeoutMs) {
    const std::shared_ptr<State> state = usable();
    std::size_t ran = 0;
    state->rethrowing([&] { ran = quorvin_engine_run(state->engine, timeoutMs); });
    return ran;
  }

  /// Sends a message; the reply comes once.
  void send(const std::string& channel, const Bytes& message, Reply reply) {
    const std::shared_ptr<State> state = usable();
    auto call = std::make_unique<Call>(Call{state, std::move(reply)});
    state->rethrowing([&] {
      quorvin_engine_send(state->engine, channel.c_str(), message.data(), message.size(), onReply,
                          call.release());
    });
  }

  /// Sets who receives what the engine sends by itself; an empty function: nobody.
  void receive(Receiver receiver) {
    const std::shared_ptr<State> state = usable();
    const bool receives = receiver != nullptr;
    state->receiver = receives ? std::make_shared<const Receiver>(std::move(receiver)) : nullptr;
    quorvin_engine_receive(state->engine, receives ? onMessage : nullptr, state.get());
  }

 private:
  /// Outlives the engine in the callbacks that end it.
  struct State {
    QuorvinEngine* engine = nullptr;
    std::thread::id thread = std::this_thread::get_id();
    std::function<std::optional<Authorization>()> requestAuthorization;
    std::function<bool(std::size_t count)> confirmDeletion;
    std::shared_ptr<const Receiver> receiver;
    /// What a callback threw first: nothing may be thrown through C.
    std::exception_ptr thrown;

    template <class Function>
    void guard(Function function) noexcept {
      try {
        function();
      } catch (...) {
        if (thrown == nullptr) thrown = std::current_exception();
      }
    }

    /// Throws what callbacks inside the call threw, and leaves alone what those around it did.
    template <class Function>
    void rethrowing(Function function) {
      const std::exception_ptr before = std::exchange(thrown, nullptr);
      function();
      const std::exception_ptr inside = std::exchange(thrown, before);
      if (inside != nullptr) std::rethrow_exception(inside);
    }
  };

  struct Call {
    std::shared_ptr<State> state;
    Reply reply;
  };

  static constexpr std::int32_t kAsStored = -1;
  static constexpr std::int32_t kLeavesTheStatus = -1;

  static const char* orNull(const std::optional<std::string>& text) {
    return text.has_value() ? text->c_str() : nullptr;
  }

  void open(const Options& options) {
    QuorvinOptions given = {};
    given.struct_size = sizeof given;
    given.library_path = orNull(options.libraryPath);
    given.temporary_path = orNull(options.temporaryPath);
    given.system_version = orNull(options.systemVersion);
    given.authorization = options.authorization.has_value()
                              ? static_cast<std::int32_t>(*options.authorization)
                              : kAsStored;
    if (options.requestAuthorization) given.request_authorization = onRequest;
    if (options.confirmDeletion) given.confirm_deletion = onConfirmation;
    given.user_data = state_.get();
    char* error = nullptr;
    state_->engine = quorvin_engine_create(&given, &error);
    if (state_->engine != nullptr) return;
    if (error == nullptr) throw std::bad_alloc();
    const OpenError failed(error);
    quorvin_free(error);
    throw failed;
  }

  std::shared_ptr<State> usable() const {
    if (!isOpen()) throw LibraryClosedError();
    if (state_->thread != std::this_thread::get_id()) throw WrongThreadError();
    return state_;
  }

  static void onReply(const std::uint8_t* message, std::size_t size, void* data) {
    const std::unique_ptr<Call> call(static_cast<Call*>(data));
    if (!call->reply) return;
    // What the end leaves without an answer has no bytes, as has what nobody implements.
    const bool ended = call->state->engine == nullptr && size == 0;
    call->state->guard([&] {
      call->reply(ended ? std::nullopt : std::optional<BytesView>(BytesView(message, size)));
    });
  }

  static void onMessage(const char* channel, const std::uint8_t* message, std::size_t size,
                        void* data) {
    auto* state = static_cast<State*>(data);
    const std::shared_ptr<const Receiver> receiver = state->receiver;
    if (receiver != nullptr) state->guard([&] { (*receiver)(channel, BytesView(message, size)); });
  }

  static std::int32_t onRequest(void* data) {
    auto* state = static_cast<State*>(data);
    std::int32_t status = kLeavesTheStatus;
    state->guard([&] {
      if (const auto decided = state->requestAuthorization()) {
        status = static_cast<std::int32_t>(*decided);
      }
    });
    return status;
  }

  static std::int32_t onConfirmation(std::size_t count, void* data) {
    auto* state = static_cast<State*>(data);
    bool isConfirmed = false;
    state->guard([&] { isConfirmed = state->confirmDeletion(count); });
    return isConfirmed ? 1 : 0;
  }

  std::shared_ptr<State> state_;
};

}  // namespace client
}  // namespace quorvin

#endif  // QUORVIN_CLIENT_ENGINE_HPP_
