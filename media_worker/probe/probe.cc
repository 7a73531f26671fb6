#include "media_worker/probe/probe.h"

#include <exception>

#include "codec/utf8.h"
#include "media_protocol/wire.h"
#include "media_worker/headers/blocks_beside_pixels.h"
#include "media_worker/metadata/metadata.h"
#include "media_worker/probe/probe_motion_photo.h"
#include "media_worker/probe/probe_movie.h"
#include "media_worker/probe/probe_name.h"
#include "media_worker/probe/probe_picture.h"
#include "media_worker/probe/probe_raw.h"
#include "media_worker/reading/input_file.h"
#include "media_worker/reading/signature.h"
#include "media_worker/side/side_file.h"

namespace quorvin {
namespace {

/// A raw photo on TIFF's plan is told by its tags.
void refine(PictureSignature& picture, const FileMetadata& metadata) {
  if (picture.format != PictureFormat::tiff) return;
  const auto raw = rawTypeOf(metadata);
  if (raw) picture = {PictureFormat::raw, *raw};
}

Result<MediaProbe> probePicturePixels(const InputFile& file, PictureFormat format,
                                      FileMetadata& metadata) {
  switch (format) {
    case PictureFormat::raw:
      return probeRaw(metadata);
    case PictureFormat::heif:
      return probeHeif(file, metadata);
    default:
      return probePixels(file, format, metadata);
  }
}

Result<MediaProbe> probePicture(const InputFile& file, int fd, PictureSignature picture,
                                const std::string& name) {
  if (hasTooMuchBesidePixels(file, picture.format)) {
    return pictureError("the photo holds more beside its pixels than can be read.");
  }
  FileMetadata metadata;
  if (picture.format != PictureFormat::heif) metadata = readMetadata(file, fd);
  refine(picture, metadata);
  auto probe = probePicturePixels(file, picture.format, metadata);
  if (!probe) return probe;
  probe->uniformTypeIdentifier = picture.type.identifier;
  probe->extension = picture.type.extension.empty() ? rawExtension(name) : picture.type.extension;
  const PhotoMetadata photo = photoMetadata(metadata);
  probe->creationDate = photo.creationDate;
  probe->contentIdentifier = photo.contentIdentifier;
  probe->burstIdentifier = photo.burstIdentifier;
  probe->burstPrimary = photo.burstPrimary;
  probe->frontCamera = photo.frontCamera;
  probe->mediaSubtypes |= photo.subtypes | pictureNameSubtypes(name, picture.format);
  if (const auto movie = findEmbeddedMovie(file, photo.movie)) {
    probe->embeddedMovieOffset = movie->offset;
    probe->embeddedMovieLength = movie->length;
  }
  return probe;
}

Result<MediaProbe> probeContent(const InputFile& file, int fd, const std::string& name) {
  const PictureSignature picture = pictureSignature(file.head(kSignatureLength));
  if (picture.format != PictureFormat::none) return probePicture(file, fd, picture, name);
  if (auto side = probeSide(file, name)) return *std::move(side);
  auto probe = probeMovie(file);
  if (probe && probe->kind == MediaKind::video) probe->mediaSubtypes |= videoNameSubtypes(name);
  return probe;
}

}  // namespace

namespace {

// What no camera writes is no identifier, and no number to be shown.
Result<MediaProbe> withinBounds(Result<MediaProbe> probe) {
  if (!probe) return probe;
  for (std::string* each : {&probe->contentIdentifier, &probe->burstIdentifier}) {
    if (each->size() > kLongestText || !isUtf8(*each)) each->clear();
  }
  probe->duration = std::min(probe->duration, kMostSeconds);
  for (double* each : {&probe->frameRate, &probe->captureFrameRate}) {
    *each = std::min(*each, kMostFrames);
  }
  return probe;
}

}  // namespace

Result<MediaProbe> probeFile(int fd, const std::string& name) {
  const auto file = InputFile::open(fd);
  if (!file) return file.error();
  try {
    return withinBounds(probeContent(*file, fd, name));
  } catch (const std::exception&) {
    // Libraries throw whatever they like at hostile files; their texts mean nothing to a person.
    return Failure(LibraryErrorCode::invalidResource, "the file is damaged.");
  }
}

}  // namespace quorvin
