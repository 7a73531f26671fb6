// What calls fail with.
#ifndef QUORVIN_CLIENT_ERRORS_HPP_
#define QUORVIN_CLIENT_ERRORS_HPP_

#include <cstddef>
#include <memory>
#include <quorvin/client/value.hpp>
#include <stdexcept>
#include <string>
#include <utility>

namespace quorvin {
namespace client {

/// Every error of this client.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;

  /// Throws a copy, as the type that it is.
  [[noreturn]] virtual void raise() const = 0;
  virtual std::shared_ptr<const Error> copy() const = 0;
};

/// A class of errors that knows what it is.
template <class Self>
class ErrorOf : public Error {
 public:
  using Error::Error;
  [[noreturn]] void raise() const override { throw static_cast<const Self&>(*this); }
  std::shared_ptr<const Error> copy() const override {
    return std::make_shared<Self>(static_cast<const Self&>(*this));
  }
};

/// The plugin answered with an error. `docs/errors.md` of quorvin lists every message.
class QuorvinError : public ErrorOf<QuorvinError> {
 public:
  QuorvinError(std::string code, std::string message, Value details)
      : ErrorOf(describe(message, details)),
        code_(std::move(code)),
        message_(std::move(message)),
        details_(std::move(details)) {}

  /// "Error" for everything that the plugin itself answers.
  const std::string& code() const { return code_; }
  /// Names the fault; "" when the reply had none.
  const std::string& message() const { return message_; }
  /// Mostly null, or the reason as a sentence.
  const Value& details() const { return details_; }

 private:
  static std::string describe(const std::string& message, const Value& details) {
    const auto* reason = details.as<std::string>();
    return reason == nullptr ? message : message + ": " + *reason;
  }

  std::string code_;
  std::string message_;
  Value details_;
};

/// Nobody answers the method: there is no such one, or its work ended without a reply.
class NotImplementedError : public ErrorOf<NotImplementedError> {
 public:
  NotImplementedError(const std::string& channel, const std::string& method)
      : ErrorOf("Nobody answers the method \"" + method + "\" of the channel \"" + channel +
                "\".") {}
};

/// The library cannot be opened; the text says why.
class OpenError : public ErrorOf<OpenError> {
 public:
  using ErrorOf::ErrorOf;
};

/// The library was closed before the call, or before its reply came.
class LibraryClosedError : public ErrorOf<LibraryClosedError> {
 public:
  LibraryClosedError() : ErrorOf("The library is closed.") {}
};

/// A library is used on the thread that opened it.
class WrongThreadError : public ErrorOf<WrongThreadError> {
 public:
  WrongThreadError() : ErrorOf("The library was opened on another thread and is used there.") {}
};

/// The bytes are no message of the codec.
class MalformedMessageError : public ErrorOf<MalformedMessageError> {
 public:
  MalformedMessageError(const std::string& reason, std::size_t offset)
      : ErrorOf("The message is malformed at byte " + std::to_string(offset) + ": " + reason + "."),
        offset_(offset) {}

  /// Where in the message, in bytes.
  std::size_t offset() const { return offset_; }

 private:
  std::size_t offset_;
};

/// The codec has no bytes for the value. Nothing was sent.
class UnencodableValueError : public ErrorOf<UnencodableValueError> {
 public:
  using ErrorOf::ErrorOf;
};

/// The reply is a message of the codec, but not what the method replies.
class UnexpectedReplyError : public ErrorOf<UnexpectedReplyError> {
 public:
  UnexpectedReplyError(std::string method, std::string path, std::string expected)
      : ErrorOf("The reply to \"" + method + "\"" + (path.empty() ? "" : " at " + path) +
                " should be " + expected + "."),
        method_(std::move(method)),
        path_(std::move(path)),
        expected_(std::move(expected)) {}

  /// The method, or the channel of an event.
  const std::string& method() const { return method_; }
  /// Where in the reply, as "[3].width"; "" for all of it.
  const std::string& path() const { return path_; }
  /// What should be there.
  const std::string& expected() const { return expected_; }

 private:
  std::string method_;
  std::string path_;
  std::string expected_;
};

}  // namespace client
}  // namespace quorvin

#endif  // QUORVIN_CLIENT_ERRORS_HPP_
