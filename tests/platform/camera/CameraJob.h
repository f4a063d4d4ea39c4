// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/CameraSource.h>

#include <cstdint>
#include <vector>

#include "platform/codec/CodecClient.h"

namespace oxa::test {

struct CameraJobOptions {
    int width = 0;
    int height = 0;
    int deinterlace = 0;
    int pictures = 0;  // that are read from the camera
};

// Records a camera as a recorder does: reads its source and hands the records to the encoder.
class CameraJob {
  public:
    CameraJob(const android::sp<android::CameraSource>& source, const CameraJobOptions& options);

    // False when something failed or the end did not come.
    bool run();

    // Of the encoded pictures.
    const std::vector<int64_t>& timesUs() const { return mTimesUs; }
    // Each picture's mean brightness as a number, after decoding the result.
    std::vector<int> decodedNumbers() const;
    int decodedWidth() const { return mWidth; }

  private:
    void onEvent(const CodecEvent& event);
    void feed(size_t index, const android::sp<android::MediaCodecBuffer>& buffer);

    const android::sp<android::CameraSource> mSource;
    const CameraJobOptions mOptions;
    bool mFailed = false;
    // The callback looper's while it runs.
    int mFed = 0;
    std::vector<uint8_t> mHeader;
    std::vector<std::vector<uint8_t>> mUnits;
    std::vector<int64_t> mTimesUs;
    mutable int mWidth = 0;
    CodecClient mEncoder{"video/avc", true};
};

}  // namespace oxa::test
