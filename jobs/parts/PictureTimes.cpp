// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "parts/PictureTimes.h"

#include <gui/Surface.h>
#include <oxa/host/Display.h>
#include <oxa/host/InputChoice.h>
#include <oxa/host/Session.h>

#include <algorithm>

#include "tracks/SourceTracks.h"
#include "tracks/TrackDecoding.h"

namespace oxa::jobs {

using namespace android;

namespace {

// An extractor that has one track of a part selected.
sp<NuMediaExtractor> openTrack(const InputFile& input, const Track& video, const InputPart& part,
                               sp<AMessage>* format) {
    host::InputChoice choice;
    choice.startUs = part.startUs;
    choice.endUs = part.endUs;
    host::setInputChoice(choice);
    sp<NuMediaExtractor> extractor;
    const bool isOpen = openExtractor(input, &extractor) == OK &&
                        extractor->getTrackFormat(video.index, format) == OK &&
                        extractor->selectTrack(video.index) == OK;
    return isOpen ? extractor : nullptr;
}

}  // namespace

std::optional<int64_t> PictureTimes::firstDecoded(int64_t startUs) const {
    const host::Session session;
    const host::SessionScope scope(session);
    std::optional<int64_t> first;
    sp<AMessage> format;
    InputPart part;
    part.startUs = startUs;
    const auto extractor = openTrack(mInput, mVideo, part, &format);
    if (extractor == nullptr) return first;
    const auto take = [&](const sp<MediaCodec>& decoder, DecodedOutput output) {
        decoder->releaseOutputBuffer(output.index);
        if (output.size > 0) first = startUs + output.timeUs;
        return output.size > 0 || output.isEnd ? Verdict::kDone : Verdict::kGoOn;
    };
    const auto display = host::createNullDisplay();
    decodeTrack(extractor, format, new Surface(display->producer()), 0, mCancelled, take);
    return first;
}

std::vector<StoredPicture> PictureTimes::stored(const InputPart& part) const {
    const host::Session session;
    const host::SessionScope scope(session);
    std::vector<StoredPicture> pictures;
    sp<AMessage> format;
    const auto extractor = openTrack(mInput, mVideo, part, &format);
    if (extractor == nullptr) return pictures;
    int64_t timeUs = 0;
    size_t size = 0;
    while (!mCancelled && extractor->getSampleTime(&timeUs) == OK &&
           extractor->getSampleSize(&size) == OK) {
        // A reader begins at the key frame before.
        if (timeUs >= 0) pictures.push_back({part.startUs + timeUs, size});
        if (extractor->advance() != OK) break;
    }
    std::sort(pictures.begin(), pictures.end(),
              [](const auto& a, const auto& b) { return a.timeUs < b.timeUs; });
    return pictures;
}

}  // namespace oxa::jobs
