// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/NuMediaExtractor.h>
#include <oxa/host/Display.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "files/InputFile.h"
#include "files/TemporaryFolder.h"
#include "oxa/jobs/EncodeOptions.h"
#include "oxa/jobs/Track.h"
#include "run/JobContext.h"

namespace oxa::jobs {

// A picture of a film as a PNG file.
struct Still {
    int64_t timeUs;
    std::string path;
};

// Takes single pictures out of a film. They are files of a temporary folder that goes away with the
// object.
class StillGrabber {
  public:
    // All stay the caller's and must outlive the object. The pictures are upright and get `size`.
    StillGrabber(const InputFile& input, const Track& track, Size size,
                 const CancelFlag& cancelled);

    // `count` pictures at equal distances over the film's length, fewer where it has fewer. Nothing
    // when there is at least one; otherwise why not. Blocks while it decodes; ends with what there
    // is when the job is cancelled. `onProgress` is called before each picture.
    std::optional<Failure> grab(int count, const std::function<void(int done)>& onProgress,
                                std::vector<Still>* stills);

  private:
    std::optional<Failure> open();
    bool openTrack();
    void findLength();
    void grabOne(int64_t timeUs);
    // From where the extractor is; false when there is none until `timeUs`.
    bool moveToKeyFrame(int64_t timeUs);
    // False when the pictures from there on are all later than `timeUs`, unless that may be.
    bool grabFrom(int64_t startUs, int64_t timeUs, bool mayBeLate);

    const InputFile& mInput;
    const Track& mTrack;
    const Size mSize;
    const CancelFlag& mCancelled;
    TemporaryFolder mFolder;
    std::unique_ptr<host::Display> mDisplay;
    android::sp<android::NuMediaExtractor> mExtractor;
    int64_t mFirstUs = 0;
    int64_t mLengthUs = 0;
    int64_t mNextUs = 0;            // when another picture than the last one is to be seen
    std::vector<int64_t> mTimesUs;  // of the pictures that were rendered
};

}  // namespace oxa::jobs
