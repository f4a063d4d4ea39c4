// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "tracks/DecodeTrial.h"

#include <gui/Surface.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/foundation/AMessage.h>
#include <mediadrm/ICrypto.h>
#include <oxa/host/Display.h>

#include "tracks/SourceTracks.h"
#include "tracks/TrackDecoding.h"

namespace oxa::jobs {

using namespace android;

namespace {

// The first thing that comes out tells.
Verdict judge(const sp<MediaCodec>& decoder, DecodedOutput output) {
    decoder->releaseOutputBuffer(output.index);
    if (output.size > 0) return Verdict::kDone;
    return output.isEnd ? Verdict::kFails : Verdict::kGoOn;
}

Verdict tryToDecode(const sp<NuMediaExtractor>& extractor, const Track& track, int mostSamples,
                    const CancelFlag& cancelled) {
    sp<AMessage> format;
    if (extractor->getTrackFormat(track.index, &format) != OK) return Verdict::kFails;
    if (!track.isVideo)
        return decodeTrack(extractor, format, nullptr, mostSamples, cancelled, judge);
    // Pictures need a surface to go to.
    const auto display = host::createNullDisplay();
    return decodeTrack(extractor, format, new Surface(display->producer()), mostSamples, cancelled,
                       judge);
}

}  // namespace

DecodeTrial::DecodeTrial(const InputFile& input, const sp<NuMediaExtractor>& opened,
                         const CancelFlag& cancelled)
    : mInput(input), mCancelled(cancelled), mExtractor(opened) {}

bool DecodeTrial::canDecode(const Track& track) {
    // A decoder that may go on decodes far more pictures than are asked for: one sample alone is
    // nearly always enough. One that does not answer in time is not asked again.
    Verdict verdict = Verdict::kFails;
    if (moveTo(track)) verdict = tryToDecode(mExtractor, track, 1, mCancelled);
    if (verdict == Verdict::kFails && openAnew() && moveTo(track)) {
        verdict = tryToDecode(mExtractor, track, 0, mCancelled);
    }
    return verdict == Verdict::kDone;
}

bool DecodeTrial::canDecodeIn(const InputPart& part, const Track& track) {
    return moveTo(track) && mExtractor->seekTo(part.startUs) == OK &&
           tryToDecode(mExtractor, track, 1, mCancelled) == Verdict::kDone && hasSampleIn(part);
}

bool DecodeTrial::hasSampleIn(const InputPart& part) const {
    int64_t timeUs = 0;
    while (!mCancelled && mExtractor->getSampleTime(&timeUs) == OK) {
        if (timeUs >= part.startUs) return timeUs < part.endUs.value_or(INT64_MAX);
        mExtractor->advance();
    }
    return false;
}

// Stays where the file has been read to: the new track is selected before the old one is not, since
// an extractor without any would go back to the beginning, which costs as much as opening it.
bool DecodeTrial::moveTo(const Track& track) {
    if (mExtractor->selectTrack(track.index) != OK) return false;
    if (mSelected && *mSelected != track.index) mExtractor->unselectTrack(*mSelected);
    mSelected = track.index;
    return true;
}

bool DecodeTrial::openAnew() {
    mSelected.reset();
    return openExtractor(mInput, &mExtractor) == OK;
}

}  // namespace oxa::jobs
