// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "DecodeTrial.h"

#include <gui/Surface.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <media/stagefright/foundation/AMessage.h>
#include <mediadrm/ICrypto.h>

#include "TrackDecoding.h"

namespace oxaplayer {

using namespace android;

namespace {

constexpr int32_t kSurfaceColourFormat = 0x7F000789;
constexpr int32_t kAnySize = 64;

// Pictures need a surface to go to: that of an encoder which is never started.
sp<Surface> makeSurface(const sp<MediaCodec>& encoder) {
    sp<AMessage> format = new AMessage;
    format->setString("mime", "video/avc");
    format->setInt32("width", kAnySize);
    format->setInt32("height", kAnySize);
    format->setInt32("frame-rate", 30);
    format->setInt32("bitrate", 100'000);
    format->setInt32("i-frame-interval", 1);
    format->setInt32("color-format", kSurfaceColourFormat);
    sp<IGraphicBufferProducer> producer;
    if (encoder->configure(format, nullptr, nullptr, MediaCodec::CONFIGURE_FLAG_ENCODE) != OK ||
        encoder->createInputSurface(&producer) != OK) {
        return nullptr;
    }
    return new Surface(producer);
}

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
    const OwnedCodec encoder("video/avc", true);
    if (encoder.get() == nullptr) return Verdict::kFails;
    const sp<Surface> surface = track.isVideo ? makeSurface(encoder.get()) : nullptr;
    return decodeTrack(extractor, format, surface, mostSamples, judge);
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
