#include "tool/serve/channel_connection.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>
#include <iterator>
#include <list>
#include <memory>
#include <optional>

#include "tool/serve/connections.h"
#include "tool/serve/engine/channel_hub.h"
#include "tool/serve/reading/frames.h"

namespace quorvin {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using beast::error_code;
using Upgrade = beast::http::request<beast::http::empty_body>;
using Headers = std::vector<std::pair<std::string, std::string>>;

constexpr std::size_t kLargestFrame = 1 << 20;
constexpr std::size_t kMostUnanswered = 16;
/// A reply may be a whole picture.
constexpr std::size_t kMostUnsent = 8 << 20;
constexpr std::size_t kPieceOfFrame = 64 << 10;
/// How often a connection is looked at. A client that shows no life between two looks is gone.
constexpr std::chrono::seconds kLook{30};

class ChannelConnection final : public Connection,
                                public ChannelOutlet,
                                public std::enable_shared_from_this<ChannelConnection> {
 public:
  ChannelConnection(asio::ip::tcp::socket socket, const Served& served)
      : socket_(std::move(socket)), look_(socket_.get_executor()), served_(served) {
    served_.connections.add(*this);
    client_ = served_.hub.enter(*this);
  }
  ~ChannelConnection() override {
    leave();
    served_.connections.remove(*this);
  }

  void accept(const Upgrade& upgrade, const Headers& headers);

  void reply(FrameBytes frame) override {
    --unanswered_;
    push(std::move(frame), false);
  }
  void event(FrameBytes frame, FrameBytes merged) override;

  bool isIdle() const override { return false; }
  void end() override {
    isEnding_ = true;
    if (isAccepted_) close(websocket::close_code::going_away);
  }
  void abort() override { drop(); }

 private:
  struct Unsent {
    FrameBytes frame;
    bool isEvent = false;
  };

  void push(FrameBytes frame, bool isEvent);
  void read();
  void frameCame(error_code error);
  void write();
  void pieceWent(error_code error, std::size_t bytes);
  void lookLater();
  void lookAgain();
  void close(websocket::close_code code);
  void drop();
  void leave();
  bool isFull() const { return unanswered_ >= kMostUnanswered || unsentBytes_ > kMostUnsent; }

  websocket::stream<asio::ip::tcp::socket> socket_;
  asio::steady_timer look_;
  const Served served_;
  ChannelHub::Client client_ = 0;
  beast::flat_buffer buffer_;
  std::list<Unsent> unsent_;
  std::size_t unsentBytes_ = 0;
  std::size_t written_ = 0;  ///< of the first frame
  std::size_t unanswered_ = 0;
  bool isAccepted_ = false;
  bool isEnding_ = false;
  bool isReading_ = false;
  bool isWriting_ = false;
  bool isPinging_ = false;
  bool isClosing_ = false;
  bool showedLife_ = true;
};

void ChannelConnection::accept(const Upgrade& upgrade, const Headers& headers) {
  socket_.set_option(websocket::stream_base::decorator([headers](websocket::response_type& head) {
    for (const auto& [name, value] : headers) head.set(name, value);
  }));
  socket_.read_message_max(kLargestFrame);
  socket_.binary(true);
  socket_.auto_fragment(false);
  socket_.control_callback(
      [this](websocket::frame_type, beast::string_view) { showedLife_ = true; });
  lookLater();
  socket_.async_accept(upgrade, [self = shared_from_this()](error_code error) {
    if (error) return self->drop();
    self->isAccepted_ = true;
    if (self->isEnding_) return self->end();
    self->read();
  });
}

void ChannelConnection::event(FrameBytes frame, FrameBytes merged) {
  // What is on its way already stays as it is.
  const auto first = unsent_.begin();
  const auto waiting = std::find_if(isWriting_ ? std::next(first) : first, unsent_.end(),
                                    [](const Unsent& each) { return each.isEvent; });
  if (waiting == unsent_.end()) return push(std::move(frame), true);
  unsentBytes_ += merged->size();
  unsentBytes_ -= waiting->frame->size();
  waiting->frame = std::move(merged);
}

void ChannelConnection::push(FrameBytes frame, bool isEvent) {
  if (isClosing_) return;
  unsentBytes_ += frame->size();
  unsent_.push_back({std::move(frame), isEvent});
  write();
  read();
}

void ChannelConnection::read() {
  if (isReading_ || isClosing_ || isFull()) return;
  isReading_ = true;
  socket_.async_read(buffer_, [self = shared_from_this()](error_code error, std::size_t) {
    self->frameCame(error);
  });
}

void ChannelConnection::frameCame(error_code error) {
  if (error) return drop();
  showedLife_ = true;
  if (!socket_.got_binary()) return close(websocket::close_code::unknown_data);
  const auto bytes = buffer_.cdata();
  const auto frame = readFrame({static_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
  if (!frame) return close(websocket::close_code::bad_payload);
  ++unanswered_;
  served_.hub.call(client_, *frame);
  buffer_.clear();
  // Not before, for a reply may come at once, and with it the next look at what to do.
  isReading_ = false;
  read();
}

void ChannelConnection::write() {
  if (isWriting_ || isClosing_ || unsent_.empty()) return;
  isWriting_ = true;
  const std::vector<std::uint8_t>& frame = *unsent_.front().frame;
  const std::size_t size = std::min(frame.size() - written_, kPieceOfFrame);
  const bool isLast = written_ + size == frame.size();
  socket_.async_write_some(isLast, asio::buffer(frame.data() + written_, size),
                           [self = shared_from_this()](error_code error, std::size_t bytes) {
                             self->pieceWent(error, bytes);
                           });
}

void ChannelConnection::pieceWent(error_code error, std::size_t bytes) {
  isWriting_ = false;
  if (error) return drop();
  showedLife_ = true;
  written_ += bytes;
  if (unsent_.front().frame->size() == written_) {
    unsentBytes_ -= written_;
    written_ = 0;
    unsent_.pop_front();
  }
  write();
  read();
}

void ChannelConnection::lookLater() {
  look_.expires_after(kLook);
  // This also keeps the connection while it is neither read from nor written to.
  look_.async_wait([self = shared_from_this()](error_code error) {
    if (!error) self->lookAgain();
  });
}

void ChannelConnection::lookAgain() {
  // Nothing shows of a client that is not read from, unless something is sent to it.
  if (!socket_.next_layer().is_open()) return;
  const bool wouldShow = isReading_ || isWriting_ || isClosing_;
  if (wouldShow && !showedLife_) return drop();
  showedLife_ = false;
  if (isReading_ && !isPinging_) {
    isPinging_ = true;
    socket_.async_ping({}, [self = shared_from_this()](error_code) { self->isPinging_ = false; });
  }
  lookLater();
}

void ChannelConnection::close(websocket::close_code code) {
  if (isClosing_) return;
  isClosing_ = true;
  leave();
  socket_.async_close(code, [self = shared_from_this()](error_code) { self->drop(); });
}

void ChannelConnection::drop() {
  isClosing_ = true;
  leave();
  look_.cancel();
  error_code ignored;
  socket_.next_layer().close(ignored);
}

void ChannelConnection::leave() {
  if (client_ != 0) served_.hub.leave(std::exchange(client_, 0));
}

}  // namespace

void serveChannels(asio::ip::tcp::socket socket, const Upgrade& upgrade, const Served& served,
                   const Headers& headers) {
  std::make_shared<ChannelConnection>(std::move(socket), served)->accept(upgrade, headers);
}

}  // namespace quorvin
