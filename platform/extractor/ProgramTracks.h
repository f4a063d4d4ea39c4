// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>

#include <vector>

extern "C" {
#include <libavformat/avformat.h>
}

namespace android {

// The streams that are tracks for clients, in the order of the file: those that can be decoded. Of
// several programmes it is one, since each has a clock of its own: the first with picture and
// sound, else the first with a picture, else the first with sound.
std::vector<unsigned> chooseTracks(const AVFormatContext& context);

// The streams of sound, or of pictures, that belong to these tracks where they have none of that
// type.
std::vector<unsigned> missingTracks(const AVFormatContext& context,
                                    const std::vector<unsigned>& tracks);

// What the times of all tracks count from, in microseconds: the first time of the first picture and
// the first sound track. What else is in the file does not count.
int64_t tracksStartUs(const AVFormatContext& context, const std::vector<unsigned>& tracks);

}  // namespace android
