#include "testing/fakes/recorded_reply.h"

#include <mutex>
#include <utility>
#include <variant>
#include <vector>

namespace quorvin {

struct RecordedReply::State {
  const std::string label;
  EventLog& log;
  const OnMisuse onMisuse;
  std::mutex mutex;
  bool gone = false;
  std::vector<Answer> answers;

  State(std::string name, EventLog& eventLog, OnMisuse misuse)
      : label(std::move(name)), log(eventLog), onMisuse(std::move(misuse)) {}
};

RecordedReply::RecordedReply(std::string label, EventLog& log, OnMisuse onMisuse)
    : state_(std::make_shared<State>(std::move(label), log, std::move(onMisuse))) {}

RecordedReply::~RecordedReply() {
  if (!state_) return;
  const std::lock_guard guard(state_->mutex);
  state_->gone = true;
  if (state_->answers.size() == expected_) return;
  state_->onMisuse(state_->label + " got " + std::to_string(state_->answers.size()) +
                   " answers instead of " + std::to_string(expected_));
}

FlutterResult RecordedReply::callback() const {
  return [state = state_](FlutterReply reply) {
    const std::lock_guard guard(state->mutex);
    if (state->gone) {
      // The log may have gone too.
      state->onMisuse(state->label + " was answered after its end");
      return;
    }
    state->log.add("reply " + state->label);
    state->answers.push_back(
        {std::move(reply), std::this_thread::get_id(), ManualQueue::current()});
  };
}

std::size_t RecordedReply::answerCount() const {
  const std::lock_guard guard(state_->mutex);
  return state_->answers.size();
}

RecordedReply::Answer RecordedReply::answer(std::size_t index) const {
  const std::lock_guard guard(state_->mutex);
  if (index < state_->answers.size()) return state_->answers[index];
  state_->onMisuse(state_->label + " has no answer " + std::to_string(index));
  return {};
}

Value RecordedReply::value() const {
  const FlutterReply reply = answer().reply;
  if (const auto* value = std::get_if<Value>(&reply)) return *value;
  if (const auto* error = std::get_if<FlutterError>(&reply)) {
    state_->onMisuse(state_->label + " was answered with the error " + error->message);
  } else {
    state_->onMisuse(state_->label + " was answered with \"not implemented\"");
  }
  return {};
}

FlutterError RecordedReply::error() const {
  const FlutterReply reply = answer().reply;
  if (const auto* error = std::get_if<FlutterError>(&reply)) return *error;
  state_->onMisuse(state_->label + " was not answered with an error");
  return {};
}

bool RecordedReply::isNotImplemented() const {
  return std::holds_alternative<FlutterMethodNotImplementedMarker>(answer().reply);
}

}  // namespace quorvin
