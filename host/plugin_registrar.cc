#include "host/plugin_registrar.h"

#include <cstdint>
#include <exception>
#include <span>
#include <utility>
#include <variant>
#include <vector>

#include "codec/standard_method_codec.h"

namespace quorvin {
namespace {

struct ReplyEncoder {
  ByteBuffer operator()(Value result) const { return takeSuccessEnvelope(std::move(result)); }
  ByteBuffer operator()(const FlutterError& error) const {
    return ByteBuffer(encodeErrorEnvelope(error));
  }
  ByteBuffer operator()(FlutterMethodNotImplementedMarker) const { return {}; }
};

ByteBuffer encodeReply(FlutterReply reply) {
  try {
    return std::visit(ReplyEncoder{}, std::move(reply));
  } catch (const std::exception&) {
    return {};  // longer than a message or than memory
  }
}

}  // namespace

void PluginRegistrar::addMethodCallDelegate(std::shared_ptr<FlutterMethodCallDelegate> delegate,
                                            std::shared_ptr<FlutterMethodChannel> channel) {
  const std::string name = channel->name();
  FlutterBinaryMessenger& messenger = channel->binaryMessenger();
  messenger.setMessageHandlerOnChannel(
      name, [delegate = std::move(delegate), channel = std::move(channel)](
                std::span<const std::uint8_t> message, FlutterBinaryReply reply) {
        std::optional<FlutterMethodCall> call = decodeMethodCall(message);
        if (!call) {
          reply({});
          return;
        }
        delegate->handle(*std::move(call), [reply = std::move(reply)](FlutterReply answer) {
          reply(encodeReply(std::move(answer)).bytes());
        });
      });
}

}  // namespace quorvin
