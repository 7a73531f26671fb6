# What a media file is and what its metadata says.
add_library(quorvin_media_probe STATIC
  metadata/metadata.cc
  metadata/metadata_announced_movie.cc
  metadata/metadata_creation_date.cc
  metadata/metadata_dates.cc
  metadata/metadata_file.cc
  metadata/exiv2_file.cc
  metadata/metadata_maker_note.cc
  metadata/metadata_movie.cc
  probe/probe.cc
  probe/probe_heif.cc
  probe/probe_motion_photo.cc
  probe/probe_movie.cc
  probe/probe_movie_type.cc
  probe/probe_name.cc
  probe/probe_picture.cc
  probe/probe_raw.cc
  reading/boxes.cc
  reading/orientation.cc
  reading/signature.cc)
quorvin_target(quorvin_media_probe)
target_link_libraries(quorvin_media_probe
  PUBLIC quorvin_media_protocol quorvin_media_worker
  PRIVATE PkgConfig::VIPS PkgConfig::HEIF PkgConfig::EXIV2 PkgConfig::FFMPEG)

quorvin_test(media_probe_tests NOT_FOR_RACES
  SOURCES
    ${PROJECT_SOURCE_DIR}/testing/media/probe_test_media.cc
    metadata/metadata_dates_test.cc
    metadata/metadata_maker_note_test.cc
    metadata/metadata_movie_test.cc
    metadata/metadata_test.cc
    probe/probe_damage_test.cc
    probe/probe_motion_photo_test.cc
    probe/probe_movie_test.cc
    probe/probe_name_test.cc
    probe/probe_picture_test.cc
    probe/probe_raw_test.cc
    probe/probe_test.cc
    reading/orientation_test.cc
    reading/signature_test.cc
  LIBRARIES quorvin_media_probe PkgConfig::VIPS PkgConfig::HEIF PkgConfig::EXIV2)
