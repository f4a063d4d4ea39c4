// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// The bytes are a media file: its tracks are listed, decoded, converted and searched.

#include <datasource/FileSource.h>
#include <gui/Surface.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>
#include <mediadrm/ICrypto.h>
#include <oxa/host/Display.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "ffmpeg/MediaLimits.h"
#include "fuzz/FuzzTarget.h"
#include "support/CodecClient.h"

namespace oxa::fuzz {
namespace {

using namespace android;

// More would only be slower.
constexpr size_t kMaxFileBytes = 64 << 10;
constexpr size_t kMaxDecodedTracks = 3;
constexpr int kMaxSamples = 24;
constexpr int kMaxOutputs = 16;
constexpr int64_t kMaxPoints = 32 << 20;

int32_t int32Of(const sp<AMessage>& format, const char* name) {
    int32_t value = 0;
    format->findInt32(name, &value);
    return value;
}

bool isVideo(const sp<AMessage>& format) {
    AString mime;
    FUZZ_CHECK(format->findString("mime", &mime));
    return mime.startsWithIgnoreCase("video/");
}

// Both a sample and the file's beginning are within the limit, and sound may last behind it.
bool isTimeSane(int64_t timeUs) {
    return timeUs >= -3 * limits::kMaxTimeUs && timeUs <= 3 * limits::kMaxTimeUs;
}

void checkFormat(const sp<AMessage>& format) {
    if (isVideo(format)) {
        FUZZ_CHECK(isPictureSizeAllowed(int32Of(format, "width"), int32Of(format, "height")));
        FUZZ_CHECK(int32Of(format, "rotation-degrees") % 90 == 0);
    } else {
        FUZZ_CHECK(
                isSoundAllowed(int32Of(format, "channel-count"), int32Of(format, "sample-rate")));
    }
    const int32_t maxInputSize = int32Of(format, "max-input-size");
    FUZZ_CHECK(maxInputSize > 0 && maxInputSize <= limits::kMaxSampleBytes);
    int64_t durationUs = 1;
    format->findInt64("durationUs", &durationUs);
    FUZZ_CHECK(durationUs > 0 && durationUs <= limits::kMaxTimeUs);
    AString language;
    format->findString("language", &language);
    FUZZ_CHECK(language.size() <= limits::kMaxLanguageLength);
}

// The file in memory, opened anew for each extractor.
class MemoryFile {
  public:
    MemoryFile(const uint8_t* data, size_t size) : mFd(memfd_create("input", MFD_CLOEXEC)) {
        FUZZ_CHECK(mFd >= 0 && write(mFd, data, size) == static_cast<ssize_t>(size));
        mSize = static_cast<int64_t>(size);
    }
    ~MemoryFile() { close(mFd); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    // Null when it is no media file.
    sp<NuMediaExtractor> open() const {
        sp<NuMediaExtractor> extractor = new NuMediaExtractor(NuMediaExtractor::EntryPoint::OTHER);
        if (extractor->setDataSource(mFd, 0, mSize) != OK) extractor.clear();
        return extractor;
    }

  private:
    int mFd;
    int64_t mSize = 0;
};

// The next sample into an input of the decoder, or the end.
void feed(const sp<NuMediaExtractor>& extractor, test::CodecClient& decoder, size_t index,
          bool wanted) {
    sp<MediaCodecBuffer> buffer;
    if (decoder->getInputBuffer(index, &buffer) != OK) return;
    sp<ABuffer> sample = new ABuffer(buffer->base(), buffer->capacity());
    int64_t timeUs = 0;
    size_t size = 0;
    if (!wanted || extractor->readSampleData(sample) != OK) {
        decoder->queueInputBuffer(index, 0, 0, 0, MediaCodec::BUFFER_FLAG_EOS);
        return;
    }
    FUZZ_CHECK(extractor->getSampleTime(&timeUs) == OK);
    FUZZ_CHECK(extractor->getSampleSize(&size) == OK);
    FUZZ_CHECK(size == sample->size() && size > 0 && size <= buffer->capacity());
    FUZZ_CHECK(isTimeSane(timeUs));
    FUZZ_CHECK(decoder->queueInputBuffer(index, sample->offset(), size, timeUs, 0) == OK);
    extractor->advance();
}

// The points of a picture, 0 for sound.
int64_t checkOutputFormat(const sp<AMessage>& format) {
    if (!isVideo(format)) {
        FUZZ_CHECK(
                isSoundAllowed(int32Of(format, "channel-count"), int32Of(format, "sample-rate")));
        return 0;
    }
    const int64_t points = int64_t{int32Of(format, "width")} * int32Of(format, "height");
    FUZZ_CHECK(points > 0 && points <= limits::kMaxPicturePoints);
    return points;
}

bool isEnough(const test::CodecClient::Events& events) {
    int outputs = 0;
    int64_t points = 0;  // of a picture
    int64_t allPoints = 0;
    for (const test::CodecEvent& event : events) {
        if (event.id == MediaCodec::CB_ERROR) return true;
        if (event.id == MediaCodec::CB_OUTPUT_FORMAT_CHANGED)
            points = checkOutputFormat(event.format);
        if (event.id != MediaCodec::CB_OUTPUT_AVAILABLE) continue;
        allPoints += points;
        const bool last = (event.flags & MediaCodec::BUFFER_FLAG_EOS) != 0;
        if (last || ++outputs >= kMaxOutputs || allPoints >= kMaxPoints) return true;
    }
    return false;
}

// What a transcode may ask of the decoder; which of it, the file's last byte decides.
void askForConversion(uint8_t choice, const sp<AMessage>& format) {
    if ((choice & 1) != 0) format->setInt32("eFps", 10);
    if ((choice & 2) != 0) format->setInt32("video-de-interlace", 1 + (choice >> 7));
    if ((choice & 4) == 0) return;
    format->setInt32("eWid", 64);
    format->setInt32("eHei", 48);
}

// Takes one track through its decoder, as a pipeline does.
void decode(const MemoryFile& file, size_t track, uint8_t choice) {
    const sp<NuMediaExtractor> extractor = file.open();
    sp<AMessage> format;
    if (extractor == nullptr || extractor->getTrackFormat(track, &format) != OK) return;
    FUZZ_CHECK(extractor->selectTrack(track) == OK);
    const bool video = isVideo(format);
    askForConversion(choice, format);
    AString mime;
    format->findString("mime", &mime);
    const auto display = host::createNullDisplay();
    int samples = 0;
    int outputs = 0;
    test::CodecClient decoder(mime.c_str(), false);
    if (decoder.operator->() == nullptr) return;
    decoder.setHandler([&](const test::CodecEvent& event) {
        if (event.id == MediaCodec::CB_INPUT_AVAILABLE)
            feed(extractor, decoder, event.index, samples++ < kMaxSamples);
        if (event.id != MediaCodec::CB_OUTPUT_AVAILABLE) return;
        FUZZ_CHECK(isTimeSane(event.timeUs));
        if (++outputs % 4 == 0) {
            decoder->releaseOutputBuffer(event.index);
        } else {
            decoder->renderOutputBufferAndRelease(event.index);
        }
    });
    decoder.setCallback();
    // Without a surface the pictures are copied.
    const bool shown = video && (choice & 8) == 0;
    const sp<Surface> surface = shown ? new Surface(display->producer()) : nullptr;
    if (decoder->configure(format, surface, nullptr, 0) != OK || decoder->start() != OK) return;
    FUZZ_CHECK(decoder.waitFor(isEnough));
}

// All tracks at once, and places all over the file.
void search(const MemoryFile& file) {
    using Mode = MediaSource::ReadOptions;
    const sp<NuMediaExtractor> extractor = file.open();
    if (extractor == nullptr) return;
    const size_t tracks = extractor->countTracks();
    for (size_t i = 0; i < tracks; ++i)
        FUZZ_CHECK(extractor->selectTrack(i) == OK);
    const sp<ABuffer> buffer = new ABuffer(64 << 10);
    const std::pair<int64_t, Mode::SeekMode> places[] = {
            {500000, Mode::SEEK_PREVIOUS_SYNC}, {INT64_MAX, Mode::SEEK_CLOSEST_SYNC},
            {0, Mode::SEEK_PREVIOUS_SYNC},      {1000000, Mode::SEEK_NEXT_SYNC},
            {INT64_MIN, Mode::SEEK_NEXT_SYNC},
    };
    for (const auto& [timeUs, mode] : places) {
        extractor->seekTo(timeUs, mode);
        for (int samples = 0; samples < 4; ++samples) {
            size_t track = 0;
            int64_t sampleTimeUs = 0;
            if (extractor->readSampleData(buffer) != OK) break;
            FUZZ_CHECK(extractor->getSampleTrackIndex(&track) == OK && track < tracks);
            FUZZ_CHECK(extractor->getSampleTime(&sampleTimeUs) == OK && isTimeSane(sampleTimeUs));
            sp<MetaData> meta;
            FUZZ_CHECK(extractor->getSampleMeta(&meta) == OK);
            if (extractor->advance() != OK) break;
        }
    }
}

}  // namespace
}  // namespace oxa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace oxa::fuzz;
    if (size == 0 || size > kMaxFileBytes) return 0;
    const MemoryFile file(data, size);
    const android::sp<android::NuMediaExtractor> extractor = file.open();
    if (extractor == nullptr) return 0;
    const size_t tracks = extractor->countTracks();
    FUZZ_CHECK(tracks <= android::limits::kMaxTracks);
    for (size_t i = 0; i < tracks; ++i) {
        android::sp<android::AMessage> format;
        FUZZ_CHECK(extractor->getTrackFormat(i, &format) == android::OK);
        checkFormat(format);
    }
    for (size_t i = 0; i < std::min(tracks, kMaxDecodedTracks); ++i)
        decode(file, i, data[size - 1]);
    search(file);
    return 0;
}
