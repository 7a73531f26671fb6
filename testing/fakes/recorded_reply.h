// One call's reply: what was answered, how often, on which thread and from which queue item.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <thread>

#include "core/platform/host.h"
#include "testing/fakes/event_log.h"
#include "testing/fakes/fake_dispatch.h"

namespace quorvin {

/// Reports a misuse when it goes with fewer or more answers than expected (one, unless told
/// otherwise), and when an answer comes after it has gone. An answer logs "reply LABEL".
class RecordedReply {
 public:
  struct Answer {
    FlutterReply reply;
    std::thread::id thread;
    ManualQueue::Position position;  ///< no queue: answered directly
  };

  RecordedReply(std::string label, EventLog& log, OnMisuse onMisuse);
  ~RecordedReply();
  RecordedReply(RecordedReply&&) = default;
  RecordedReply& operator=(RecordedReply&&) = delete;

  FlutterResult callback() const;

  void expectAnswers(std::size_t count) { expected_ = count; }
  void expectSilence() { expectAnswers(0); }

  std::size_t answerCount() const;
  /// A copy; a missing answer is a misuse.
  Answer answer(std::size_t index = 0) const;
  /// The value, the error; any other kind of answer is a misuse.
  Value value() const;
  FlutterError error() const;
  bool isNotImplemented() const;

 private:
  struct State;
  std::shared_ptr<State> state_;
  std::size_t expected_ = 1;
};

}  // namespace quorvin
