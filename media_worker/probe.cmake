# What a media file is and what its metadata says.
add_library(quorvin_media_probe STATIC
  metadata.cc
  metadata_announced_movie.cc
  metadata_creation_date.cc
  metadata_dates.cc
  metadata_file.cc
  metadata_io.cc
  metadata_maker_note.cc
  metadata_movie.cc
  probe.cc
  probe_boxes.cc
  probe_heif.cc
  probe_motion_photo.cc
  probe_movie.cc
  probe_movie_type.cc
  probe_name.cc
  probe_orientation.cc
  probe_picture.cc
  probe_raw.cc
  probe_signature.cc)
quorvin_target(quorvin_media_probe)
target_link_libraries(quorvin_media_probe
  PUBLIC quorvin_media_protocol quorvin_media_worker
  PRIVATE PkgConfig::VIPS PkgConfig::HEIF PkgConfig::EXIV2 PkgConfig::FFMPEG)
