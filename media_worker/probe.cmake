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

quorvin_test(media_probe_tests NOT_FOR_RACES
  SOURCES
    metadata_dates_test.cc
    metadata_maker_note_test.cc
    metadata_movie_test.cc
    metadata_test.cc
    probe_damage_test.cc
    probe_motion_photo_test.cc
    probe_movie_test.cc
    probe_name_test.cc
    probe_orientation_test.cc
    probe_picture_test.cc
    probe_raw_test.cc
    probe_signature_test.cc
    probe_test.cc
    probe_test_media.cc
  LIBRARIES quorvin_media_probe PkgConfig::VIPS PkgConfig::HEIF PkgConfig::EXIV2)
