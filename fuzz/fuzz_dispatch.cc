// Calls any methods with any arguments on the fake platform, and lets the queued work run and the
// platform's work end in any order. Every call is answered exactly once, with something that can be
// sent, but for the silences and the second reply that the methods' descriptions state.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "codec/standard_method_codec.h"
#include "fuzz/any_endings.h"
#include "fuzz/any_value.h"
#include "fuzz/require.h"
#include "testing/fakes/plugin_harness.h"
#include "testing/fakes/samples.h"

namespace quorvin {
namespace {

constexpr auto kMethods = [] {
  std::array<const char*, kInlineMethods.size() + kQueuedMethods.size()> all{};
  std::ranges::copy(kQueuedMethods, std::ranges::copy(kInlineMethods, all.begin()).out);
  return all;
}();

const std::vector<std::string>& identifiers() {
  static const std::vector<std::string> all = {"p",       "v",         "a",     "l",     "b1", "b2",
                                               "recents", "favorites", "album", "empty", ""};
  return all;
}

/// Dates that a record can express, and the user library first: nothing here may stop the process.
void fill(PluginHarness& plugin) {
  FakePhotoLibrary& library = plugin.library;
  library.addAsset(photo("p", 1700000000.5));
  library.addAsset(video("v", -1.5));
  library.addAsset(audio("a"));
  PHAsset live = photo("l");
  live.mediaSubtypes = PHAssetMediaSubtype::photoLive;
  library.addAsset(std::move(live));
  library.addAsset(burstMember("b1", "burst", true));
  library.addAsset(burstMember("b2", "burst"));
  library.addCollectionOfEverything(userLibrary());
  library.addCollection(smartAlbum("favorites", 203), {"p"});
  library.addCollection(userAlbum("album", "Trip"), {"v", "p", "a", "b1", "b2"});
  library.addCollection(userAlbum("empty"), {});
  plugin.platform.resources.add("p", PHAssetResourceType::photo, "IMG.HEIC", "public.heic");
  plugin.platform.resources.add("b1", PHAssetResourceType::photo, "IMG.JPG", "public.jpeg");
  plugin.platform.resources.add("v", PHAssetResourceType::video, "clip");
}

bool isChange(const std::string& method) {
  return method.starts_with("save") || method == "deleteAssets" || method == "createAlbum";
}

void checkAnswer(const std::string& method, const FlutterReply& reply) {
  if (const auto* value = std::get_if<Value>(&reply)) {
    require(decodeEnvelope(encodeSuccessEnvelope(*value)).has_value(), "a value can be sent");
  } else if (const auto* error = std::get_if<FlutterError>(&reply)) {
    require(error->code == "Error" && !error->message.empty(), "errors have a code and a message");
    require(method.starts_with("get") || isChange(method), "the other methods have no errors");
  }
}

class Session {
 public:
  explicit Session(FuzzedDataProvider& data)
      : data_(data),
        hasImageManager_(data.ConsumeIntegralInRange(0, 7) != 0),
        plugin_([](const std::string& what) { require(false, what.c_str()); },
                hasImageManager_ ? PluginHarness::Has::imageManager
                                 : PluginHarness::Has::noImageManager) {
    plugin_.log.stop();
    fill(plugin_);
    plugin_.library.status = static_cast<PHAuthorizationStatus>(
        data.ConsumeBool() ? 3 : data.ConsumeIntegralInRange(0, 5));
    if (data.ConsumeBool()) plugin_.platform.codec.jpeg.reset();
    FakeFileManager& files = plugin_.platform.files;
    const auto sometimes = [&data](std::optional<NSError>& error) {
      if (data.ConsumeIntegralInRange(0, 3) == 0) error = NSError{"Domain", 1, "It failed."};
    };
    sometimes(files.createDirectoryFails);
    sometimes(files.removeItemFails);
    sometimes(files.writeFails);
    sometimes(files.setAttributesFails);
    plugin_.platform.media.makesSessions = data.ConsumeBool();
    plugin_.library.creationRequestsFail = data.ConsumeIntegralInRange(0, 3) == 0;
    plugin_.library.albumsTakeChanges = data.ConsumeBool();
  }

  void run() {
    for (int calls = data_.ConsumeIntegralInRange(1, 8); calls > 0; --calls) {
      call();
      while (data_.ConsumeBool() && step()) {
      }
    }
    do {
      while (step()) {
      }
      unendedExports_ += endPlatformWork(plugin_.platform, data_);
    } while (plugin_.platform.dispatch.main.waiting() != 0);
    for (auto& [method, reply] : calls_) check(method, reply);
  }

 private:
  void call() {
    std::string method = data_.ConsumeIntegralInRange(0, 15) == 0
                             ? data_.ConsumeRandomLengthString(20)
                             : std::string(data_.PickValueInArray(kMethods));
    Value arguments = anyArguments(data_, identifiers());
    RecordedReply reply = plugin_.call(method, std::move(arguments));
    calls_.emplace_back(std::move(method), std::move(reply));
  }

  /// Runs some item that waits.
  bool step() {
    ManualQueue& background = plugin_.platform.dispatch.background;
    const std::size_t waiting = background.waiting();
    if (waiting != 0 && data_.ConsumeBool()) {
      return background.runNext(data_.ConsumeIntegralInRange<std::size_t>(0, waiting - 1));
    }
    return plugin_.platform.dispatch.main.runNext() || background.runNext() || changeStep();
  }

  /// Some part of a change. One that lacks what it was to create never succeeds.
  bool changeStep() {
    FakePhotoLibrary& library = plugin_.library;
    if (library.creationRequestsFail || data_.ConsumeIntegralInRange(0, 3) == 0) {
      library.nextChangeFails = NSError{"Domain", 1, "It failed."};
    }
    return library.changes.runNext();
  }

  /// What the image manager does is not done without one.
  static bool needsImageManager(const std::string& method) {
    return method == "getThumbnail" || method == "getImageData" || method.ends_with("Url");
  }

  void check(const std::string& method, RecordedReply& reply) {
    if (reply.answerCount() == 0) {
      const bool isSilence = (!hasImageManager_ && needsImageManager(method)) ||
                             (method == "getVideoUrl" && unendedExports_-- > 0);
      require(isSilence, "every call is answered");
      reply.expectSilence();
      return;
    }
    // The dates of a file that was copied could not be set; or no asset could be asked for.
    const bool mayAnswerTwice = method == "getImageUrl" || (plugin_.library.creationRequestsFail &&
                                                            method.starts_with("save"));
    require(reply.answerCount() == 1 || (mayAnswerTwice && reply.answerCount() == 2),
            "every call is answered once");
    reply.expectAnswers(reply.answerCount());
    for (std::size_t i = 0; i < reply.answerCount(); ++i) {
      checkAnswer(method, reply.answer(i).reply);
    }
  }

  FuzzedDataProvider& data_;
  const bool hasImageManager_;
  PluginHarness plugin_;
  int unendedExports_ = 0;
  std::vector<std::pair<std::string, RecordedReply>> calls_;
};

}  // namespace
}  // namespace quorvin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider provider(data, size);
  quorvin::Session(provider).run();
  return 0;
}
