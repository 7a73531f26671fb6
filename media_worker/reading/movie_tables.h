// What the tables of a QuickTime or MPEG-4 movie claim.
#pragma once

#include "media_worker/reading/input_file.h"

namespace quorvin {

/// Tracks of a movie that is opened: a camera writes some five, and a recorded broadcast, of all
/// containers the fullest, some fifty.
inline constexpr int kMostTracks = 100;

/// Whether they claim more tracks, samples or edits than there is a use for. A few bytes can claim
/// billions of samples, of which readers make a table in memory before they read any, and each edit
/// goes through all samples of its track. False for files of other kinds.
bool claimsTooMuch(const InputFile& file);

}  // namespace quorvin
