// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "DecodeTrial.h"

#include <gui/Surface.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <media/stagefright/foundation/AMessage.h>
#include <mediadrm/ICrypto.h>
#include <oxa/host/Display.h>

#include "TrackDecoding.h"

namespace oxaplayer {

using namespace android;

namespace {

// The first thing that comes out tells.
Verdict judge(const sp<MediaCodec>& decoder, DecodedOutput output) {
    decoder->releaseOutputBuffer(output.index);
    if (output.size > 0) return Verdict::kDone;
    return output.isEnd ? Verdict::kFails : Verdict::kGoOn;
}

Verdict tryToDecode(const InputFile& input, const SourceTrack& track, int mostSamples) {
    sp<NuMediaExtractor> extractor = new NuMediaExtractor(NuMediaExtractor::EntryPoint::OTHER);
    sp<AMessage> format;
    if (extractor->setDataSource(input.descriptor(), 0, input.size()) != OK ||
        extractor->getTrackFormat(track.index, &format) != OK ||
        extractor->selectTrack(track.index) != OK) {
        return Verdict::kFails;
    }
    if (!track.isVideo) return decodeTrack(extractor, format, nullptr, mostSamples, judge);
    // Pictures need a surface to go to.
    const auto display = oxa::host::createNullDisplay();
    return decodeTrack(extractor, format, new Surface(display->producer()), mostSamples, judge);
}

}  // namespace

bool canDecode(const InputFile& input, const SourceTrack& track) {
    // A decoder that may go on decodes far more pictures than are asked for: the first sample alone
    // is nearly always enough. One that does not answer in time is not asked again.
    Verdict verdict = tryToDecode(input, track, 1);
    if (verdict == Verdict::kFails) verdict = tryToDecode(input, track, 0);
    return verdict == Verdict::kDone;
}

}  // namespace oxaplayer
