// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "oxa/jobs/Transcode.h"
#include "parts/PictureTimes.h"
#include "transcode/TranscodeSource.h"

namespace oxa::jobs {

// Finds the times at which a film can be cut so that its parts, encoded one by one and joined, have
// the pictures and the key frames of a film that is encoded at once.
class FilmCuts {
  public:
    // Outlive the object; `source` is open. It has a picture.
    FilmCuts(const TranscodeOptions& options, const TranscodeSource& source,
             const CancelFlag& cancelled);

    // How long the film is, with what is before its first picture, at least to its last one.
    int64_t lengthUs() const { return mLengthUs; }

    // The times near these (rising, from the film's start), without those near which there is none.
    // Times are in microseconds from the file's beginning. Blocks while it reads.
    std::vector<int64_t> near(const std::vector<int64_t>& targetsUs) const;

    // Whether reading the file from its beginning to its end finds these times where a reader finds
    // them that goes there at once: not where its clock jumps. Reads all of a file of such a kind.
    bool areSteady(const std::vector<int64_t>& cutsUs) const;

  private:
    std::optional<int64_t> cutNear(int64_t targetUs, int64_t firstUs) const;
    std::optional<int64_t> pictureNear(int64_t timeUs) const;
    std::vector<StoredPicture> around(int64_t timeUs, int64_t awayUs) const;
    std::optional<int64_t> tickNear(int64_t targetUs) const;
    int64_t storedLengthUs() const;

    const TranscodeOptions& mOptions;
    const Track& mVideo;
    const PictureTimes mTimes;
    const int64_t mStartUs;
    const int64_t mLengthUs;
    const double mSourceRate;   // pictures a second
    const double mEncodedRate;  // the same
    const bool mMayJump;
};

}  // namespace oxa::jobs
