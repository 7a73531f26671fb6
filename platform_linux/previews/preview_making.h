// Making the previews of one picture.
#pragma once

#include <stop_token>
#include <string>

#include "media_protocol/rendering_size.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/files/folder.h"
#include "platform_linux/library/catalogue/shown_files.h"
#include "platform_linux/library/previews/preview_store.h"
#include "platform_linux/media/media_service.h"

namespace quorvin {

/// A picture that may want previews.
struct PreviewJob {
  HeldFile file;
  MediaKind kind = MediaKind::image;
  PixelSize picture;  ///< upright
};

PreviewJob previewJob(const LibraryFolder& folder, const ShownFile& file);

enum class PreviewOutcome {
  made,
  there,       ///< nothing was to be done
  impossible,  ///< the picture cannot be rendered, or has transparent parts; this is kept as well
  failed,      ///< this time
};

/// Makes what is missing. Waits for the media service; any thread, several at once. With `stop`
/// requested it fails soon.
Result<PreviewOutcome> makePreviews(const PreviewJob& job, MediaService& media, PreviewStore& store,
                                    const std::stop_token& stop);

/// Keeps a rendering that was made for something else as the preview of that size, unless that is
/// there. `image` is as large as the preview.
Done keepRendering(const PreviewJob& job, const PreviewSide& side, const RenderedImage& image,
                   MediaService& media, PreviewStore& store);

/// Whether the disk has so much left that previews may take some of it.
bool hasRoomForPreviews(const LibraryFolder& folder);

}  // namespace quorvin
