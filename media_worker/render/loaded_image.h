// A picture on its way from a file to a rendering.
#pragma once

#include <memory>

#include "media_protocol/failure.h"
#include "media_protocol/rendering_size.h"
#include "media_protocol/requests.h"
#include "media_worker/reading/input_file.h"
#include "media_worker/reading/signature.h"
#include "media_worker/reading/vips_image.h"
#include "media_worker/render/pixel_memory.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// Pixels as stored, perhaps fewer than the file has: what the asked rendering needs. Decoding may
/// still lie ahead, from top to bottom and once.
struct LoadedImage {
  ImagePtr image;        ///< in any format and colour space; its colour profile is attached
  int orientation = 1;   ///< the turn that makes it upright, 1 to 8 as in Exif
  RenderingSize target;  ///< upright
  FileDescriptor kept;   ///< what `image` reads from, when that is not the request's file
  /// Where the pixels of `image` lie, when they can be handed over as they are.
  std::shared_ptr<PixelMemory> pixels;
};

/// Loads a format that libvips reads well. `orientation` counts when the file names none. The file
/// outlives the result, as in all of these.
Result<LoadedImage> loadImage(const InputFile& file, PictureFormat format,
                              const RenderRequest& request, int orientation = 1);
/// The primary picture of a HEIC, HEIF or AVIF file, or an embedded preview of the same picture
/// where that has pixels enough.
Result<LoadedImage> loadHeif(const InputFile& file, const RenderRequest& request);
/// A picture in a format that FFmpeg alone decodes.
Result<LoadedImage> loadCodedPicture(const InputFile& file, PictureFormat format,
                                     const RenderRequest& request);
/// The best preview inside a raw photo, or else its sensor's data, developed; `fd` is the file's
/// descriptor.
Result<LoadedImage> loadRaw(const InputFile& file, int fd, const RenderRequest& request);
/// The sensor's data of a raw photo, developed.
Result<LoadedImage> loadRawSensor(const InputFile& file, const RenderRequest& request,
                                  int orientation);
/// The preview that cameras embed in a JPEG's Exif, with the colours of the picture, in place of
/// its own pixels: when it shows the whole picture as it is, with at least the asked pixels as
/// stored. Null when there is none such. `header` is the picture's.
ImagePtr loadExifPreview(VipsImage* header, PixelSize asked);
/// The first frame of a video that is shown.
Result<LoadedImage> loadPosterFrame(const InputFile& file, const RenderRequest& request);

/// A JPEG made smaller, to a size as stored, and turned upright; `shrink` of it by the decoder.
/// Null when it fails, and for kinds of JPEG that are left to others.
std::shared_ptr<PixelMemory> loadSmallerJpeg(const InputFile& file, int shrink, PixelSize stored,
                                             int orientation, bool failOnDamage);

/// The error of a file that names no cause.
Failure cannotDecode();
/// The error where a preview is asked for and there is none.
Failure noPreview();
/// The error of a picture whose header promises more pixels than are ever decoded.
Failure tooManyPixels();
/// Whether the header's size is one that is decoded: of so many pixels at most.
bool isDecodableSize(std::int64_t width, std::int64_t height,
                     std::int64_t most = kMaximumPixelCount);

}  // namespace quorvin
