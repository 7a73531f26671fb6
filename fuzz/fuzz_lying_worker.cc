// Asks a worker that says anything at all, and ends when it likes. Each request is answered; what
// is made of an answer fits what was asked; and nothing is left behind.
#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "codec/utf8.h"
#include "fuzz/memory_file.h"
#include "fuzz/require.h"
#include "platform_linux/media/media_worker_pool.h"
#include "testing/platform/testing_processes.h"

namespace quorvin {
namespace {

using std::chrono::milliseconds;

/// Mostly long enough for a worker to start; one that says nothing costs as much.
constexpr milliseconds kPatience(30);

bool isLine(const std::string& text, std::size_t most) {
  return text.size() <= most && isUtf8(text) && text.find('\n') == std::string::npos;
}

template <class Outcome>
bool isThere(const Outcome& outcome) {
  if (outcome) return true;
  const std::string sentence = outcome.error().sentence();
  require(!sentence.empty() && isLine(sentence, kLongestText + 200), "an error is a line");
  return false;
}

class Conversation {
 public:
  explicit Conversation(FuzzedDataProvider& data)
      : data_(data),
        pool_({.program = QUORVIN_LYING_WORKER,
               .size = 1,
               .requestTimeLimit = kPatience,
               .exportTimeLimit = kPatience}) {}

  void run() {
    for (int left = data_.ConsumeIntegralInRange(1, 4); left > 0; --left) {
      switch (data_.ConsumeIntegralInRange(0, 5)) {
        case 0:
          probe();
          break;
        case 1:
          render();
          break;
        case 2:
          encode();
          break;
        case 3:
          containers();
          break;
        case 4:
          exportVideo();
          break;
        default:
          describe();
      }
    }
  }

 private:
  /// What the worker is told to say.
  FileDescriptor script() {
    const std::string text = data_.ConsumeRandomLengthString(4096);
    return memoryFile({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  }

  void probe() {
    const auto probe = pool_.probe(script(), data_.ConsumeRandomLengthString(16));
    if (!isThere(probe)) return;
    require(probe->extension.find_first_of("./") == std::string::npos, "it can end a file's name");
    require(probe->orientation >= 1 && probe->orientation <= 8, "it stands in some way");
    require(probe->pixelWidth >= 0 && probe->pixelHeight >= 0, "it has a size");
    require(std::isfinite(probe->duration) && probe->duration >= 0, "it takes some time");
    require(isLine(probe->contentIdentifier, kLongestText) &&
                isLine(probe->burstIdentifier, kLongestText) &&
                isLine(probe->uniformTypeIdentifier, kLongestText),
            "no text is long");
  }

  void render() {
    RenderRequest request;
    request.targetWidth = data_.ConsumeIntegralInRange(1, 300);
    request.targetHeight = data_.ConsumeIntegralInRange(1, 300);
    request.fit = data_.PickValueInArray(
        {RenderRequest::Fit::fit, RenderRequest::Fit::fill, RenderRequest::Fit::original});
    request.crop = request.fit == RenderRequest::Fit::fill && data_.ConsumeBool();
    const auto image = pool_.render(script(), request);
    if (!isThere(image)) return;
    const RenderedImage& seen = **image;
    const auto size = sealedMemorySize(seen.fd());
    require(size == static_cast<std::size_t>(seen.width() * seen.height() * seen.channels() +
                                             seen.profileSize()),
            "its pixels are all there, and nobody can change them");
    if (request.fit == RenderRequest::Fit::original) return;
    const bool isNarrow = static_cast<double>(seen.width()) <= request.targetWidth;
    const bool isLow = static_cast<double>(seen.height()) <= request.targetHeight;
    const bool isFilling = request.fit == RenderRequest::Fit::fill && !request.crop;
    require(isFilling ? isNarrow || isLow : isNarrow && isLow, "it is no larger than was asked");
  }

  void encode() {
    const int width = data_.ConsumeIntegralInRange(1, 64);
    const RenderedImage image(script(), width, 2, 3);
    const auto bytes = pool_.encode(image, ImageFormat::jpeg, data_.ConsumeProbability<double>());
    if (!isThere(bytes)) return;
    constexpr std::size_t kMost = 5 << 20;
    require(!bytes->bytes().empty() && bytes->bytes().size() < kMost, "it is not much");
    // Reading them all reaches no hole.
    std::uint8_t sum = 0;
    for (const std::uint8_t each : bytes->bytes()) sum = static_cast<std::uint8_t>(sum + each);
    require(sum <= 255, "they can be read");
  }

  void containers() {
    const auto containers = pool_.exportContainers(script(), VideoPreset::passthrough);
    if (!isThere(containers)) return;
    for (const VideoContainer each : *containers) {
      require(each == VideoContainer::quickTime || each == VideoContainer::mpeg4,
              "there is such a container");
    }
  }

  void exportVideo() {
    const FileDescriptor output = memoryFile({});
    isThere(pool_.exportVideo(script(), output, {}, {}));
  }

  void describe() {
    const auto description = pool_.describe(data_.ConsumeBool() ? WorkerProcess::Kind::pictures
                                                                : WorkerProcess::Kind::exports);
    if (!isThere(description)) return;
    for (const auto* texts : {&description->layers, &description->libraries}) {
      for (const NamedText& each : *texts) {
        require(isLine(each.name, kLongestText) && isLine(each.text, kLongestText),
                "a description is made of lines");
      }
    }
  }

  FuzzedDataProvider& data_;
  MediaWorkerPool pool_;
};

}  // namespace
}  // namespace quorvin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The fuzzer itself has a helper.
  const std::vector<pid_t> childrenBefore = quorvin::children();
  const std::size_t before = quorvin::openDescriptors();
  FuzzedDataProvider provider(data, size);
  quorvin::Conversation(provider).run();
  quorvin::require(quorvin::openDescriptors() == before, "no descriptor is left open");
  quorvin::require(quorvin::children() == childrenBefore, "no child is left");
  return 0;
}
