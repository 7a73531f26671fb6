#include "tool/serve/engine/gallery_channel.h"

#include <array>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

#include "codec/standard_method_codec.h"
#include "core/platform/changes.h"
#include "platform_linux/library/upkeep/trash.h"

namespace quorvin {
namespace {

using Identifiers = std::vector<std::string>;

constexpr const char* kWrongArguments = "Error arguments";
constexpr const char* kNotRestored = "Restoring assets error";
constexpr const char* kNotAdded = "Adding to album error";

FlutterReply failedWith(const char* message, Value details = {}) {
  return FlutterError::errorWithCode("Error", message, std::move(details));
}

FlutterReply replyFor(const char* message, const Done& done) {
  if (done) return Value(true);
  return failedWith(message, done.error().sentence());
}

const Value* argument(const Value& arguments, std::string_view key) {
  const auto* map = arguments.as<Map>();
  return map == nullptr ? nullptr : find(*map, key);
}

std::optional<Identifiers> identifiersIn(const Value& arguments) {
  const Value* value = argument(arguments, "assetIds");
  const auto* list = value == nullptr ? nullptr : value->as<List>();
  if (list == nullptr) return std::nullopt;
  Identifiers identifiers;
  for (const Value& each : *list) {
    if (!each.isText()) return std::nullopt;
    identifiers.emplace_back(each.text());
  }
  return identifiers;
}

/// Those who see a part of the library do not see what was deleted.
Done mayRestore(PHPhotoLibrary& library) {
  try {
    if (library.authorizationStatus() == PHAuthorizationStatus::authorized) return Null{};
  } catch (const LibraryUnreadable& unreadable) {
    return Failure(LibraryErrorCode::internal, unreadable.what());
  }
  return Failure(LibraryErrorCode::accessUserDenied,
                 "deleted assets are restored with full access to the library alone.");
}

std::vector<std::uint8_t> encoded(const FlutterReply& reply) {
  if (const auto* value = std::get_if<Value>(&reply)) return encodeSuccessEnvelope(*value);
  if (const auto* error = std::get_if<FlutterError>(&reply)) return encodeErrorEnvelope(*error);
  return {};
}

/// What a change is to find, and what became of it.
struct Addition {
  std::shared_ptr<const PHAssetCollection> album;
  std::vector<PHObjectPlaceholder> assets;
  bool wasTaken = true;
};

std::shared_ptr<const PHAssetCollection> albumOf(PHPhotoLibrary& library, const std::string& id) {
  return library.fetchAssetCollectionsWithLocalIdentifiers(std::array{id}, nullptr)->firstObject();
}

void addTo(Platform& platform, const std::string& albumId, const Identifiers& assets,
           const std::function<void(FlutterReply)>& answer) {
  const auto addition = std::make_shared<Addition>();
  try {
    addition->album = albumOf(platform.sharedPhotoLibrary, albumId);
  } catch (const LibraryUnreadable& unreadable) {
    return answer(failedWith(kNotAdded, unreadable.what()));
  }
  if (addition->album == nullptr) {
    return answer(failedWith(kNotAdded, "The album “" + albumId + "” is not in the library."));
  }
  for (const std::string& asset : assets) addition->assets.push_back({asset});
  platform.photoLibraryChanges.performChanges(
      [addition](PHChangeRequests& requests) {
        addition->wasTaken = requests.addAssets(*addition->album, addition->assets);
      },
      [addition, answer](bool success, const std::optional<NSError>& error) {
        if (success && addition->wasTaken) return answer(Value(true));
        answer(failedWith(kNotAdded, error ? Value(error->localizedDescription)
                                           : Value("Nothing can be added to this album.")));
      });
}

}  // namespace

void GalleryChannel::handle(std::span<const std::uint8_t> message, const ChannelReply& reply) {
  const Answer answer = [reply](const FlutterReply& result) { reply(encoded(result)); };
  const auto call = decodeMethodCall(message);
  if (call && call->method == "restoreAssets") return restoreAssets(call->arguments, answer);
  if (call && call->method == "addToAlbum") return addToAlbum(call->arguments, answer);
  answer(FlutterMethodNotImplemented);
}

void GalleryChannel::restoreAssets(const Value& arguments, const Answer& answer) {
  auto assets = identifiersIn(arguments);
  if (!assets) return answer(failedWith(kWrongArguments));
  desk_.run<FlutterReply>(
      [&platform = desk_.platform(), library = library_, assets = *std::move(assets)] {
        const Done allowed = mayRestore(platform.sharedPhotoLibrary);
        return replyFor(kNotRestored, allowed ? restoreFromTrash(library, assets) : allowed);
      },
      answer);
}

void GalleryChannel::addToAlbum(const Value& arguments, const Answer& answer) {
  const Value* album = argument(arguments, "collectionId");
  auto assets = identifiersIn(arguments);
  if (!assets || album == nullptr || !album->isText()) {
    return answer(failedWith(kWrongArguments));
  }
  const auto arrived = desk_.mailbox().expect<FlutterReply>(answer);
  desk_.run<Null>(
      [&platform = desk_.platform(), id = std::string(album->text()), assets = *std::move(assets),
       arrived] {
        addTo(platform, id, assets, arrived);
        return Null{};
      },
      [](Null) {});
}

}  // namespace quorvin
