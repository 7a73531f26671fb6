#include "tool/serve/server.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/system/system_error.hpp>
#include <cerrno>
#include <chrono>
#include <functional>
#include <utility>

#include "host/engine.h"
#include "host/engine_options.h"
#include "platform_linux/library/opening/opening.h"
#include "tool/serve/answers/assets.h"
#include "tool/serve/answers/pictures.h"
#include "tool/serve/answers/site.h"
#include "tool/serve/answers/uploads.h"
#include "tool/serve/answers/videos.h"
#include "tool/serve/connections.h"
#include "tool/serve/engine/channel_hub.h"
#include "tool/serve/engine/engine_calls.h"
#include "tool/serve/engine/gallery_channel.h"
#include "tool/serve/engine/library_desk.h"
#include "tool/serve/engine/mailbox.h"
#include "tool/serve/http_connection.h"
#include "tool/serve/listener.h"
#include "tool/serve/own_folder.h"
#include "tool/serve/reading/session_token.h"
#include "tool/serve/unused_time.h"

namespace quorvin {
namespace {

namespace asio = boost::asio;
using boost::system::error_code;

constexpr std::size_t kMostConnections = 256;
/// Where the process has no descriptor left, there may soon be one again.
constexpr std::chrono::milliseconds kPauseOfAccepting{100};
/// For what is under way when the server is to stop.
constexpr std::chrono::seconds kTimeToAnswer{2};
constexpr std::chrono::seconds kTimeToLeave{1};

Result<std::unique_ptr<Engine>> engineOn(const ServerOptions& options,
                                         const std::string& temporary) {
  // An engine would make any library that is missing, and nobody would have access to it.
  const auto missing = options.makesLibrary ? MissingLibrary::make : MissingLibrary::refuse;
  const auto present = openCatalogue(options.library, missing, PHAuthorizationStatus::authorized);
  if (!present) return present.error();
  QuorvinOptions wanted{};
  wanted.struct_size = sizeof wanted;
  wanted.library_path = options.library.c_str();
  wanted.temporary_path = temporary.c_str();
  wanted.authorization = -1;
  auto read = readEngineOptions(&wanted);
  if (!read) return read.error();
  return Engine::create(*std::move(read));
}

std::string addressWith(std::uint16_t port, const SessionToken& token) {
  return "http://127.0.0.1:" + std::to_string(port) + "/?token=" + token.text();
}

}  // namespace

/// In order of dependence: each uses only those above it, and goes before them.
struct Server::Parts {
  Parts(OwnFolder theFolder, Listener theListener, SessionToken theToken,
        std::unique_ptr<Engine> theEngine, const ServerOptions& options)
      : folder(std::move(theFolder)),
        listener(std::move(theListener)),
        token(std::move(theToken)),
        engine(std::move(theEngine)),
        desk(engine->platform(), *mailbox),
        calls(*engine, *mailbox),
        pictures(calls, folder.pictures()),
        videos(desk, folder.videos()),
        assets(desk, pictures, videos),
        uploads(calls, folder.uploads()),
        gallery(desk, options.library),
        hub(*engine),
        site(listener.port, token, assets, uploads),
        connections([this] { connectionClosed(); }),
        endsUnused(options.endsUnused) {
    hub.add(kGalleryChannelName,
            [this](std::span<const std::uint8_t> message, const ChannelReply& reply) {
              gallery.handle(message, reply);
            });
  }

  ~Parts() {
    isOver = true;
    engineReady.release();
    ready.release();
    engine->shutDown();
    desk.shutDown();
    mailbox->clear();
  }

  void awaitEngine() {
    engineReady.async_wait(asio::posix::descriptor_base::wait_read, [this](error_code error) {
      if (error) return;
      engine->run(0);
      awaitEngine();
    });
  }

  void awaitConnection() {
    if (isAccepting || isStopping || connections.count() >= kMostConnections) return;
    isAccepting = true;
    ready.async_wait(asio::posix::descriptor_base::wait_read, [this](error_code error) {
      isAccepting = false;
      if (!error && !isStopping) accept();
    });
  }

  void accept() {
    FileDescriptor accepted = acceptFrom(listener);
    if (accepted) {
      // Browsers open idle ones anew when they need them.
      if (connections.count() + 1 >= kMostConnections) connections.endIdle();
      serve(std::move(accepted));
    } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
      return pauseAccepting();
    }
    awaitConnection();
  }

  void serve(FileDescriptor accepted) {
    asio::ip::tcp::socket socket(io);
    error_code error;
    socket.assign(asio::ip::tcp::v4(), accepted.get(), error);
    if (error) return;
    accepted.release();
    serveHttp(std::move(socket), {site, hub, connections});
  }

  void pauseAccepting() {
    isAccepting = true;
    pause.expires_after(kPauseOfAccepting);
    pause.async_wait([this](error_code) {
      isAccepting = false;
      awaitConnection();
    });
  }

  void connectionClosed() {
    if (isOver) return;
    if (!isStopping) return awaitConnection();
    if (connections.count() == 0) io.stop();
  }

  void lookAtUse() {
    nextLook.expires_after(kLookAtUse);
    nextLook.async_wait([this](error_code error) {
      if (error || isStopping) return;
      const bool isLongUnused =
          unused.isOver(std::chrono::steady_clock::now(), connections.isAnyInUse());
      isLongUnused ? stop() : lookAtUse();
    });
  }

  void stop() {
    if (std::exchange(isStopping, true)) return;
    ready.cancel();
    connections.endAll();
    if (connections.count() == 0) return io.stop();
    pause.expires_after(kTimeToAnswer);
    pause.async_wait([this](error_code) {
      // Whoever still waits is told that there is no answer.
      engine->shutDown();
      pause.expires_after(kTimeToLeave);
      pause.async_wait([this](error_code) {
        connections.abortAll();
        io.stop();
      });
    });
  }

  const OwnFolder folder;
  const Listener listener;
  const SessionToken token;
  // Ended by hand, before what it calls back goes.
  const std::unique_ptr<Engine> engine;
  const std::shared_ptr<Mailbox> mailbox =
      std::make_shared<Mailbox>([this](std::function<void()> item) { asio::post(io, item); });
  LibraryDesk desk;
  EngineCalls calls;
  Pictures pictures;
  Videos videos;
  Assets assets;
  Uploads uploads;
  GalleryChannel gallery;
  ChannelHub hub;
  Site site;
  bool isAccepting = false;
  bool isStopping = false;
  bool isOver = false;
  Connections connections;
  const bool endsUnused;
  UnusedTime unused{std::chrono::steady_clock::now()};
  asio::io_context io{1};  // holds the connections
  asio::posix::stream_descriptor engineReady{io, engine->fd()};
  asio::posix::stream_descriptor ready{io, listener.socket.get()};
  asio::steady_timer pause{io};
  asio::steady_timer nextLook{io};
};

Result<std::unique_ptr<Server>> Server::start(const ServerOptions& options) {
  auto listener = listenLocally(options.port);
  if (!listener) return listener.error();
  auto token = SessionToken::make();
  if (!token) return token.error();
  auto folder = OwnFolder::make();
  if (!folder) return folder.error();
  auto engine = engineOn(options, folder->exports());
  if (!engine) return engine.error();
  try {
    return std::unique_ptr<Server>(new Server(std::make_unique<Parts>(
        *std::move(folder), *std::move(listener), *std::move(token), *std::move(engine), options)));
  } catch (const boost::system::system_error& error) {
    return Failure(LibraryErrorCode::internal,
                   "the system refuses what a server needs: " + error.code().message() + ".");
  }
}

Server::Server(std::unique_ptr<Parts> parts) : parts_(std::move(parts)) {}

Server::~Server() = default;

std::string Server::address() const {
  return addressWith(parts_->listener.port, parts_->token);
}

Result<std::string> Server::addressForOnce() {
  auto token = SessionToken::make();
  if (!token) return token.error();
  std::string address = addressWith(parts_->listener.port, *token);
  parts_->site.letInOnce(*std::move(token));
  return address;
}

void Server::run(const std::stop_token& stop) {
  const std::stop_callback onStop(stop,
                                  [this] { asio::post(parts_->io, [this] { parts_->stop(); }); });
  parts_->awaitEngine();
  parts_->awaitConnection();
  if (parts_->endsUnused) parts_->lookAtUse();
  parts_->io.run();
}

}  // namespace quorvin
