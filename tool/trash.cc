// quorvin trash: deleted assets, as long as they can be had back.
#include "platform_linux/library/upkeep/trash.h"

#include <cstdio>

#include "tool/commands.h"
#include "tool/readable.h"
#include "tool/text.h"

namespace quorvin {

int TrashCommand::run() const {
  switch (action) {
    case Action::list:
      return list();
    case Action::restore:
      return restore();
    case Action::empty:
      return empty();
  }
  return kUsage;
}

int TrashCommand::list() const {
  const auto assets = listTrash(library);
  if (!assets) {
    complain(assets.error().sentence());
    return kFailure;
  }
  for (const TrashedAsset& asset : *assets) {
    std::printf("%s  %s  %s, until %s\n", printable(asset.localIdentifier).c_str(),
                printable(asset.originalFilename).c_str(), readableSize(asset.bytes).c_str(),
                readableDay(asset.goneAfter).c_str());
  }
  return kSuccess;
}

int TrashCommand::restore() const {
  const auto restored = restoreFromTrash(library, identifiers);
  if (restored) return kSuccess;
  complain(restored.error().sentence());
  return kFailure;
}

int TrashCommand::empty() const {
  const auto emptied = emptyTrash(library);
  if (!emptied) {
    complain(emptied.error().sentence());
    return kFailure;
  }
  std::printf("Removed %s, %s.\n",
              counted(static_cast<std::int64_t>(emptied->assets), "asset", "assets").c_str(),
              readableSize(emptied->bytes).c_str());
  return kSuccess;
}

}  // namespace quorvin
