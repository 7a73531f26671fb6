// quorvin previews: makes the previews that are missing.
#include <csignal>
#include <cstdio>
#include <optional>

#include "platform_linux/media/media_worker_pool.h"
#include "platform_linux/previews/all_previews.h"
#include "tool/commands.h"
#include "tool/media_workers.h"
#include "tool/progress_bar.h"
#include "tool/text.h"

namespace quorvin {
namespace {

class PreviewBar : public PreviewObserver {
 public:
  void picturesFound(std::size_t total) override { bar_.begin(total); }
  void pictureDone() override { bar_.step(); }

 private:
  OriginalsBar bar_{"Previews"};
};

std::string pictures(std::size_t count) {
  return counted(static_cast<std::int64_t>(count), "picture", "pictures");
}

void print(const AllPreviews& previews) {
  std::printf("Made previews of %s; %s had them", pictures(previews.made).c_str(),
              pictures(previews.there).c_str());
  if (previews.impossible > 0) {
    std::printf("; %s can have none", pictures(previews.impossible).c_str());
  }
  if (previews.failed > 0) std::printf("; %s failed", pictures(previews.failed).c_str());
  std::puts(".");
}

}  // namespace

Result<AllPreviews> makeMissingPreviews(const std::string& library, MediaService& media,
                                        std::optional<std::size_t> latest,
                                        const std::stop_token& stop) {
  PreviewBar bar;
  return makeAllPreviews(library, media, MediaWorkerOptions::sizeForThisMachine(), bar, latest,
                         stop);
}

int PreviewsCommand::run() const {
  MediaWorkers workers;
  const auto previews = makeMissingPreviews(library, workers.media());
  if (!previews) {
    complain(previews.error().sentence());
    return kFailure;
  }
  print(*previews);
  return previews->failed == 0 ? kSuccess : kFailure;
}

}  // namespace quorvin
