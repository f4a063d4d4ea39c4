// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gui/Surface.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <media/stagefright/foundation/AMessage.h>

#include <cstdint>
#include <functional>

#include "run/JobContext.h"

namespace oxa::jobs {

// One thing that came out of a decoder.
struct DecodedOutput {
    size_t index;
    size_t size;
    int64_t timeUs;
    bool isEnd;  // nothing follows
};

enum class Verdict { kGoOn, kDone, kFails };

// Called on a thread of the decoding, one output at a time, and not again after a verdict. It may
// give the output back now or later, or leave it to the end of the decoding.
using OutputHandler =
        std::function<Verdict(const android::sp<android::MediaCodec>& decoder, DecodedOutput)>;

// Decodes the one track that is selected in `extractor`, from where that stands and for at most so
// many samples (0: all), until `onOutput` has a verdict, which is returned; kGoOn when there was
// none in time. `surface` may be null for sound. Blocks, until nothing came out for 30 s and until
// the job is cancelled.
Verdict decodeTrack(const android::sp<android::NuMediaExtractor>& extractor,
                    const android::sp<android::AMessage>& format,
                    const android::sp<android::Surface>& surface, int mostSamples,
                    const CancelFlag& cancelled, OutputHandler onOutput);

}  // namespace oxa::jobs
