#include "tool/serve/http_connection.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <chrono>
#include <limits>
#include <memory>
#include <optional>
#include <utility>
#include <variant>

#include "tool/serve/answers/site.h"
#include "tool/serve/channel_connection.h"
#include "tool/serve/connections.h"
#include "tool/serve/http_message.h"

namespace quorvin {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using beast::error_code;

constexpr std::chrono::seconds kHeaderTime{30};
constexpr std::chrono::seconds kIdleTime{60};
constexpr std::chrono::seconds kPieceTime{30};
constexpr std::chrono::seconds kLeavingTime{2};
constexpr std::uint32_t kLargestHeader = 16 << 10;
constexpr std::size_t kPieceSize = 64 << 10;
/// Whoever takes a body has a limit of its own.
constexpr std::uint64_t kAnySize = std::numeric_limits<std::uint64_t>::max();
/// So much of what is not wanted is read, so that the other side reads why.
constexpr std::size_t kMostPassedOver = 1 << 20;

bool isMalformed(error_code error) {
  static const auto& kOfHttp = http::make_error_code(http::error::bad_target).category();
  return error.category() == kOfHttp && error != http::error::end_of_stream &&
         error != http::error::partial_message;
}

class HttpConnection final : public Connection,
                             public std::enable_shared_from_this<HttpConnection> {
 public:
  HttpConnection(asio::ip::tcp::socket socket, const Served& served)
      : stream_(std::move(socket)), served_(served) {
    served_.connections.add(*this);
  }
  ~HttpConnection() override { served_.connections.remove(*this); }

  void begin() { readHeader(kHeaderTime); }

  bool isIdle() const override {
    return phase_ == Phase::reading && exchange_ > 0 && buffer_.size() == 0;
  }
  void end() override {
    isEnding_ = true;
    if (phase_ == Phase::reading || phase_ == Phase::leaving) close();
  }
  void abort() override { close(); }

 private:
  enum class Phase { reading, taking, waiting, writing, leaving, closed };

  class Waiting;

  void readHeader(std::chrono::seconds time);
  void headerCame(error_code error);
  void takeOver();
  void beginUpload();
  void sendContinue();
  void readPiece();
  void pieceCame(error_code error, std::size_t bytes);
  void await(const std::function<void(ExchangePtr)>& answering);
  void watchClient();
  void respond(Response response);
  void sendHeader();
  void sendPiece();
  void sent();
  void passOver(std::size_t left);
  void close();

  beast::tcp_stream stream_;
  const Served served_;
  beast::flat_buffer buffer_{kLargestHeader + kPieceSize};
  std::optional<http::request_parser<http::empty_body>> header_;
  std::optional<http::request_parser<http::buffer_body>> body_;
  std::unique_ptr<Upload> upload_;
  std::array<char, kPieceSize> piece_{};
  Request request_;
  ResponseBody answer_;
  std::uint64_t sentBytes_ = 0;
  std::optional<http::response<http::empty_body>> head_;
  std::optional<http::response_serializer<http::empty_body>> headWriter_;
  Phase phase_ = Phase::reading;
  std::uint64_t exchange_ = 0;  ///< number of the one under way
  bool isKept_ = false;         ///< for another request
  bool isEnding_ = false;
};

/// The connection while somebody prepares its answer.
class HttpConnection::Waiting final : public Exchange {
 public:
  Waiting(std::weak_ptr<HttpConnection> connection, std::uint64_t number)
      : connection_(std::move(connection)), number_(number) {}
  ~Waiting() override { answer(Response::text(kUnavailable, "The server ends.")); }

  void answer(Response response) override {
    if (const auto connection = waiting()) connection->respond(std::move(response));
  }
  bool isWanted() const override { return waiting() != nullptr; }

 private:
  std::shared_ptr<HttpConnection> waiting() const {
    auto connection = connection_.lock();
    const bool isWaiting = connection != nullptr && connection->phase_ == Phase::waiting &&
                           connection->exchange_ == number_;
    return isWaiting ? connection : nullptr;
  }

  const std::weak_ptr<HttpConnection> connection_;
  const std::uint64_t number_;
};

void HttpConnection::readHeader(std::chrono::seconds time) {
  phase_ = Phase::reading;
  header_.emplace();
  header_->header_limit(kLargestHeader);
  header_->body_limit(kAnySize);
  stream_.expires_after(time);
  http::async_read_header(
      stream_, buffer_, *header_,
      [self = shared_from_this()](error_code error, std::size_t) { self->headerCame(error); });
}

void HttpConnection::headerCame(error_code error) {
  if (phase_ != Phase::reading) return;
  if (isMalformed(error)) {
    isKept_ = false;
    request_ = {};
    return respond(Response::text(kBadRequest, "This is no request."));
  }
  if (error) return close();
  isKept_ = header_->keep_alive();
  auto request = requestOf(header_->get());
  if (!request) {
    isKept_ = false;
    return respond(Response::text(kBadRequest, "This is no request."));
  }
  request_ = *std::move(request);
  if (auto refusal = served_.site.refusal(request_)) {
    isKept_ = isKept_ && header_->is_done();
    return respond(*std::move(refusal));
  }
  if (Site::isForChannels(request_)) return takeOver();
  if (Site::isUpload(request_)) return beginUpload();
  // A body of what has none stays unread.
  isKept_ = isKept_ && header_->is_done();
  await([this](ExchangePtr exchange) { served_.site.answer(request_, std::move(exchange)); });
}

void HttpConnection::takeOver() {
  phase_ = Phase::closed;
  stream_.expires_never();
  serveChannels(stream_.release_socket(), header_->release(), served_,
                served_.site.commonHeaders());
}

void HttpConnection::beginUpload() {
  const bool waitsForLeave = beast::iequals(header_->get()[http::field::expect], "100-continue");
  auto begun = served_.site.beginUpload(request_);
  if (auto* refusal = std::get_if<Response>(&begun)) {
    isKept_ = isKept_ && header_->is_done();
    return respond(std::move(*refusal));
  }
  upload_ = std::get<std::unique_ptr<Upload>>(std::move(begun));
  phase_ = Phase::taking;
  body_.emplace(std::move(*header_));
  body_->body_limit(kAnySize);
  if (waitsForLeave) return sendContinue();
  readPiece();
}

void HttpConnection::sendContinue() {
  static constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
  stream_.expires_after(kPieceTime);
  asio::async_write(stream_, asio::buffer(kContinue.data(), kContinue.size()),
                    [self = shared_from_this()](error_code error, std::size_t) {
                      if (error) return self->close();
                      self->readPiece();
                    });
}

void HttpConnection::readPiece() {
  if (body_->is_done()) {
    return await([upload = std::shared_ptr<Upload>(std::move(upload_))](ExchangePtr exchange) {
      upload->finish(std::move(exchange));
    });
  }
  body_->get().body().data = piece_.data();
  body_->get().body().size = piece_.size();
  stream_.expires_after(kPieceTime);
  http::async_read_some(stream_, buffer_, *body_,
                        [self = shared_from_this()](error_code error, std::size_t bytes) {
                          self->pieceCame(error, bytes);
                        });
}

void HttpConnection::pieceCame(error_code error, std::size_t) {
  if (phase_ != Phase::taking) return;
  if (error && error != http::error::need_buffer) return close();
  const std::size_t size = piece_.size() - body_->get().body().size;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(piece_.data());
  if (auto refusal = upload_->take({bytes, size})) {
    upload_.reset();
    isKept_ = false;
    return respond(*std::move(refusal));
  }
  readPiece();
}

void HttpConnection::await(const std::function<void(ExchangePtr)>& answering) {
  phase_ = Phase::waiting;
  ++exchange_;
  stream_.expires_never();
  watchClient();
  answering(std::make_shared<Waiting>(weak_from_this(), exchange_));
}

void HttpConnection::watchClient() {
  stream_.socket().async_wait(
      asio::ip::tcp::socket::wait_read,
      [self = shared_from_this(), number = exchange_](error_code error) {
        if (error || self->phase_ != Phase::waiting || self->exchange_ != number) return;
        char byte = 0;
        const ssize_t there =
            ::recv(self->stream_.socket().native_handle(), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
        // What is there is the next request, which is read in its turn.
        if (there <= 0) self->close();
      });
}

void HttpConnection::respond(Response response) {
  phase_ = Phase::writing;
  stream_.socket().cancel();  // nobody watches the client any more
  isKept_ = isKept_ && !isEnding_;
  answer_ = std::move(response.body);
  sentBytes_ = 0;
  const bool isHead = request_.method == Method::head;
  head_.emplace(headOf(response, sizeOf(answer_), served_.site.commonHeaders()));
  head_->keep_alive(isKept_);
  if (isHead) answer_ = ByteBuffer();
  sendHeader();
}

void HttpConnection::sendHeader() {
  headWriter_.emplace(*head_);
  stream_.expires_after(kPieceTime);
  http::async_write_header(stream_, *headWriter_,
                           [self = shared_from_this()](error_code error, std::size_t) {
                             if (error) return self->close();
                             self->sendPiece();
                           });
}

void HttpConnection::sendPiece() {
  const std::uint64_t left = sizeOf(answer_) - sentBytes_;
  if (left == 0) return sent();
  std::size_t size = std::min<std::uint64_t>(left, kPieceSize);
  const void* piece = piece_.data();
  if (const auto* part = std::get_if<FilePart>(&answer_)) {
    const ssize_t read = ::pread(part->file->file.get(), piece_.data(), size,
                                 static_cast<off_t>(part->first + sentBytes_));
    // The file is shorter than it was: the client is to see that this is not all.
    if (read <= 0) return close();
    size = static_cast<std::size_t>(read);
  } else {
    piece = std::get<ByteBuffer>(answer_).data() + sentBytes_;
  }
  stream_.expires_after(kPieceTime);
  asio::async_write(stream_, asio::buffer(piece, size),
                    [self = shared_from_this()](error_code error, std::size_t bytes) {
                      if (error) return self->close();
                      self->sentBytes_ += bytes;
                      self->sendPiece();
                    });
}

void HttpConnection::sent() {
  answer_ = ByteBuffer();
  body_.reset();
  if (isKept_ && !isEnding_) return readHeader(kIdleTime);
  phase_ = Phase::leaving;
  error_code ignored;
  stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
  stream_.expires_after(kLeavingTime);
  passOver(kMostPassedOver);
}

// A connection that is closed with something unread in it takes the answer along.
void HttpConnection::passOver(std::size_t left) {
  stream_.async_read_some(asio::buffer(piece_),
                          [self = shared_from_this(), left](error_code error, std::size_t bytes) {
                            if (error || bytes >= left) return self->close();
                            self->passOver(left - bytes);
                          });
}

void HttpConnection::close() {
  if (phase_ == Phase::closed) return;
  phase_ = Phase::closed;
  upload_.reset();
  answer_ = ByteBuffer();
  error_code ignored;
  stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
  stream_.close();
}

}  // namespace

void serveHttp(asio::ip::tcp::socket socket, const Served& served) {
  std::make_shared<HttpConnection>(std::move(socket), served)->begin();
}

}  // namespace quorvin
