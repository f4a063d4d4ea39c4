// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayerCommon.h>

#include <optional>

#include "oxa/jobs/Result.h"
#include "oxa/jobs/Transcode.h"

namespace oxa::jobs {

// The source's size as it is looked at: upright, with square pixels, even, and not larger than can
// be encoded.
Size uprightSize(const Track& video);
// The same, and not larger than `frame`, if there is one.
Size fittingSize(const Track& video, const std::optional<PictureFrame>& frame);

// Pictures a second that are encoded; 0: not known.
double encodedRate(const TranscodeOptions& options, const Track& video, int32_t deinterlace);

// Nothing when what `options` asks for beyond EncodeOptions can be encoded; otherwise what cannot
// (kOptions).
std::optional<Failure> checkTarget(const TranscodeOptions& options);

// Nothing when the level that was asked for is enough for what is encoded, or none was; otherwise
// which would be (kOptions).
std::optional<Failure> checkLevel(const TranscodeOptions& options, const Track& video,
                                  const android::_AV_FORMAT_FORMAT& format);

// The encoder's target for these options, with the source's values where none was given. A track
// that is not processed is null.
android::_AV_FORMAT_FORMAT makeTargetFormat(const TranscodeOptions& options, const Track* video,
                                            const Track* audio);

}  // namespace oxa::jobs
