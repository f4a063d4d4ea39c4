// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "verify/MediaSignature.h"

#include <gui/Surface.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/foundation/AString.h>
#include <string.h>
#include <strings.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "tracks/SourceTracks.h"
#include "tracks/TrackDecoding.h"

namespace oxa::jobs {

using namespace android;

namespace {

constexpr int32_t kSide = 64;
constexpr std::chrono::seconds kLongestWait(10);
constexpr float kFullScale = 32768;

// Selects the first track of a kind in an extractor of its own; null when there is none.
sp<NuMediaExtractor> openTrack(const InputFile& file, const char* kind, sp<AMessage>* format) {
    sp<NuMediaExtractor> extractor;
    if (openExtractor(file, &extractor) != OK) return nullptr;
    for (size_t index = 0; index < extractor->countTracks(); ++index) {
        AString mime;
        if (extractor->getTrackFormat(index, format) != OK ||
            !(*format)->findString("mime", &mime)) {
            continue;
        }
        if (strncasecmp(mime.c_str(), kind, strlen(kind)) != 0) continue;
        return extractor->selectTrack(index) == OK ? extractor : nullptr;
    }
    return nullptr;
}

Verdict readPictures(const InputFile& file, const PictureChanges& changes,
                     const CancelFlag& cancelled, MediaSignature* signature) {
    sp<AMessage> format;
    const sp<NuMediaExtractor> extractor = openTrack(file, "video/", &format);
    if (extractor == nullptr) return Verdict::kFails;
    format->setInt32("eWid", kSide);
    format->setInt32("eHei", kSide);
    if (changes.frameRate > 0) format->setInt32("eFps", changes.frameRate);
    if (changes.deinterlace >= 0) format->setInt32("video-de-interlace", changes.deinterlace);
    const auto display = host::createRecordingDisplay(SIZE_MAX);
    auto& pictures = signature->pictures;
    const Verdict verdict =
            decodeTrack(extractor, format, new Surface(display->producer()), 0, cancelled,
                        [&pictures](const sp<MediaCodec>& decoder, const DecodedOutput& output) {
                            if (output.size > 0) {
                                pictures.push_back({output.timeUs, {}});
                                decoder->renderOutputBufferAndRelease(output.index);
                            } else {
                                decoder->releaseOutputBuffer(output.index);
                            }
                            return output.isEnd ? Verdict::kDone : Verdict::kGoOn;
                        });
    const auto end = std::chrono::steady_clock::now() + kLongestWait;
    auto shown = display->pictures();
    while (shown.size() < pictures.size() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        shown = display->pictures();
    }
    if (shown.size() != pictures.size()) return Verdict::kFails;
    for (size_t i = 0; i < shown.size(); ++i)
        pictures[i].grid = shown[i].grid;
    return verdict;
}

// Adds PCM of 16 bits to the levels.
class LevelSum {
  public:
    explicit LevelSum(MediaSignature* signature) : mSignature(*signature) {}

    void add(const sp<MediaCodec>& decoder, const DecodedOutput& output) {
        sp<MediaCodecBuffer> buffer;
        sp<AMessage> format;
        int32_t channels = 0;
        int32_t rate = 0;
        if (decoder->getOutputBuffer(output.index, &buffer) != OK ||
            decoder->getOutputFormat(&format) != OK ||
            !format->findInt32("channel-count", &channels) ||
            !format->findInt32("sample-rate", &rate) || channels <= 0 || rate <= 0) {
            return;
        }
        if (mSignature.levels.empty())
            mSignature.soundBeginUs = std::max<int64_t>(0, output.timeUs);
        mSignature.sampleRate = rate;
        const auto* samples = reinterpret_cast<const int16_t*>(buffer->data());
        const int64_t frames = static_cast<int64_t>(output.size) / (int64_t{2} * channels);
        for (int64_t frame = 0; frame < frames; ++frame) {
            const int64_t timeUs = output.timeUs + frame * 1'000'000 / rate;
            float sum = 0;
            for (int32_t channel = 0; channel < channels; ++channel)
                sum += std::abs(static_cast<float>(samples[frame * channels + channel]));
            add(timeUs, sum / channels / kFullScale / rate);
        }
    }

  private:
    void add(int64_t timeUs, float share) {
        if (timeUs < 0) return;
        const auto place = static_cast<size_t>(timeUs / MediaSignature::kLevelUs);
        auto& levels = mSignature.levels;
        if (place >= levels.size()) levels.resize(place + 1);
        levels[place] += share * 1'000'000 / MediaSignature::kLevelUs;
    }

    MediaSignature& mSignature;
};

Verdict readSound(const InputFile& file, const CancelFlag& cancelled, MediaSignature* signature) {
    sp<AMessage> format;
    const sp<NuMediaExtractor> extractor = openTrack(file, "audio/", &format);
    if (extractor == nullptr) return Verdict::kFails;
    LevelSum sum(signature);
    return decodeTrack(extractor, format, nullptr, 0, cancelled,
                       [&sum](const sp<MediaCodec>& decoder, const DecodedOutput& output) {
                           if (output.size > 0) sum.add(decoder, output);
                           decoder->releaseOutputBuffer(output.index);
                           return output.isEnd ? Verdict::kDone : Verdict::kGoOn;
                       });
}

}  // namespace

std::optional<Failure> readSignature(const InputFile& file, SignatureTracks tracks,
                                     const PictureChanges& changes, const CancelFlag& cancelled,
                                     MediaSignature* signature) {
    Verdict verdict = Verdict::kDone;
    if (tracks.video) verdict = readPictures(file, changes, cancelled, signature);
    if (tracks.audio && verdict == Verdict::kDone) verdict = readSound(file, cancelled, signature);
    if (cancelled) return cancelledFailure();
    if (verdict == Verdict::kDone) return std::nullopt;
    return Failure{FailureKind::kFailed, "'" + file.path() + "' cannot be decoded to its end"};
}

}  // namespace oxa::jobs
