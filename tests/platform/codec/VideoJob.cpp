// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/codec/VideoJob.h"

#include <datasource/FileSource.h>
#include <mediadrm/ICrypto.h>

#include <cstring>

extern "C" {
#include <libavformat/avformat.h>
}

namespace oxa::test {

using namespace android;

namespace {

constexpr int32_t kColorFormatSurface = 0x7F000789;

bool isVideo(const sp<AMessage>& format) {
    AString mime;
    return format->findString("mime", &mime) && mime.startsWith("video/");
}

}  // namespace

VideoJob::VideoJob(VideoJobOptions options)
    : mOptions(std::move(options)), mHolding(mOptions.holdPictures) {}

VideoJob::~VideoJob() {
    stop();
}

status_t VideoJob::prepare() {
    mExtractor = new NuMediaExtractor(NuMediaExtractor::EntryPoint::OTHER);
    status_t err = mExtractor->setDataSource(new FileSource(mOptions.path.c_str()));
    if (err != OK) return err;
    for (size_t i = 0; i < mExtractor->countTracks() && mTrackFormat == nullptr; ++i) {
        sp<AMessage> format;
        mExtractor->getTrackFormat(i, &format);
        if (!isVideo(format)) continue;
        mTrackFormat = format;
        mExtractor->selectTrack(i);
    }
    if (mTrackFormat == nullptr) return NAME_NOT_FOUND;

    int32_t width = 0;
    int32_t height = 0;
    int32_t rotation = 0;
    int32_t frameRate = mOptions.frameRate;
    AString mime;
    mTrackFormat->findString("mime", &mime);
    mTrackFormat->findInt32("width", &width);
    mTrackFormat->findInt32("height", &height);
    mTrackFormat->findInt32("rotation-degrees", &rotation);
    if (frameRate == 0) mTrackFormat->findInt32("frame-rate", &frameRate);
    if (rotation % 180 != 0) std::swap(width, height);
    if (mOptions.width != 0) {
        width = mOptions.width;
        height = mOptions.height;
    }

    mEncoder = std::make_unique<CodecClient>("video/avc", true);
    mEncoder->setHandler([this](const CodecEvent& event) { onEncoderEvent(event); });
    const sp<AMessage> format = new AMessage;
    format->setString("mime", "video/avc");
    format->setInt32("width", width);
    format->setInt32("height", height);
    format->setInt32("frame-rate", frameRate);
    format->setInt32("bitrate", mOptions.bitrate);
    format->setFloat("i-frame-interval", mOptions.keyIntervalSec);
    format->setInt32("color-format", kColorFormatSurface);
    err = (*mEncoder)->setCallback(nullptr);
    if (err == OK) err = mEncoder->setCallback();
    if (err == OK) {
        err = (*mEncoder)->configure(format, NULL, NULL, MediaCodec::CONFIGURE_FLAG_ENCODE);
    }
    if (err == OK) err = (*mEncoder)->createInputSurface(&mProducer);
    if (err != OK) return err;
    mSurface = new Surface(mProducer);

    mDecoder = std::make_unique<CodecClient>(mime.c_str(), false);
    mDecoder->setHandler([this](const CodecEvent& event) { onDecoderEvent(event); });
    if (mOptions.askSize) {
        mTrackFormat->setInt32("eWid", width & ~1);
        mTrackFormat->setInt32("eHei", height & ~1);
    }
    if (mOptions.frameRate != 0) mTrackFormat->setInt32("eFps", mOptions.frameRate);
    if (mOptions.deinterlace >= 0) {
        mTrackFormat->setInt32("video-de-interlace", mOptions.deinterlace);
    }
    err = mDecoder->setCallback();
    if (err == OK) err = (*mDecoder)->configure(mTrackFormat, mSurface, NULL, 0);
    return err;
}

status_t VideoJob::start() {
    mRunning = true;
    return (*mDecoder)->start();
}

bool VideoJob::waitForEnd() {
    return mEncoder->waitFor([this](const CodecClient::Events& events) {
        return mFailed || (!events.empty() && (events.back().flags & MediaCodec::BUFFER_FLAG_EOS));
    }) && !mFailed;
}

void VideoJob::stop() {
    mRunning = false;
    for (CodecClient* client : {mDecoder.get(), mEncoder.get()}) {
        if (client == nullptr) continue;
        client->stopCallbacks();
        if (client->exists()) (*client)->stop();
        client->release();
    }
}

bool VideoJob::run() {
    if (prepare() != OK || start() != OK) return false;
    const bool ended = waitForEnd();
    stop();
    return ended;
}

void VideoJob::expect(status_t err) {
    if (err != OK && mRunning) mFailed = true;
}

void VideoJob::onDecoderEvent(const CodecEvent& event) {
    if (!mRunning) return;
    switch (event.id) {
        case MediaCodec::CB_INPUT_AVAILABLE:
            if (!mInputEnded) feed(event.index);
            break;
        case MediaCodec::CB_OUTPUT_AVAILABLE:
            if (event.flags & MediaCodec::BUFFER_FLAG_EOS) {
                expect((*mDecoder)->releaseOutputBuffer(event.index));
                signalEnd();
                break;
            }
            mPictureTimesUs.push_back(event.timeUs);
            render(event.index);
            break;
        case MediaCodec::CB_OUTPUT_FORMAT_CHANGED:
            mStartIsLate = mOptions.startEncoderLate && !mEndSignalled;
            if (!mStartIsLate) expect((*mEncoder)->start());
            break;
        default:
            mFailed = true;
            break;
    }
}

void VideoJob::signalEnd() {
    expect((*mEncoder)->signalEndOfInputStream());
    if ((*mEncoder)->signalEndOfInputStream() != INVALID_OPERATION) mFailed = true;
    mEndSignalled = true;
    if (mStartIsLate) expect((*mEncoder)->start());
}

void VideoJob::render(size_t index) {
    {
        std::lock_guard<std::mutex> lock(mHeldLock);
        if (mHolding) {
            mHeld.push_back(index);
            return;
        }
    }
    expect((*mDecoder)->renderOutputBufferAndRelease(index));
}

void VideoJob::renderHeld() {
    std::lock_guard<std::mutex> lock(mHeldLock);
    for (const size_t index : mHeld)
        expect((*mDecoder)->renderOutputBufferAndRelease(index));
    mHeld.clear();
    mHolding = false;
}

void VideoJob::feed(size_t index) {
    sp<MediaCodecBuffer> buffer;
    expect((*mDecoder)->getInputBuffer(index, &buffer));
    if (buffer == nullptr) return;
    const sp<ABuffer> sample = new ABuffer(buffer->base(), buffer->capacity());
    status_t err = mSampleCount < mOptions.samples ? mExtractor->readSampleData(sample)
                                                   : static_cast<status_t>(ERROR_END_OF_STREAM);
    if (err != OK) {
        mInputEnded = true;
        if (mOptions.endThroughDecoder) {
            expect((*mDecoder)->queueInputBuffer(index, 0, 0, 0, MediaCodec::BUFFER_FLAG_EOS));
        } else {
            signalEnd();
        }
        return;
    }
    int64_t timeUs = 0;
    expect(mExtractor->getSampleTime(&timeUs));
    if (mOptions.onSample) mOptions.onSample(mSampleCount, sample->data(), sample->size());
    ++mSampleCount;
    expect((*mDecoder)->queueInputBuffer(index, sample->offset(), sample->size(), timeUs, 0));
    mExtractor->advance();
}

void VideoJob::onEncoderEvent(const CodecEvent& event) {
    if (!mRunning) return;
    switch (event.id) {
        case MediaCodec::CB_OUTPUT_AVAILABLE: {
            if (event.flags & MediaCodec::BUFFER_FLAG_EOS) break;
            sp<MediaCodecBuffer> buffer;
            expect((*mEncoder)->getOutputBuffer(event.index, &buffer));
            if (buffer == nullptr) break;
            mUnits.push_back(
                    {{buffer->data(), buffer->data() + event.size}, event.timeUs, event.flags});
            expect((*mEncoder)->releaseOutputBuffer(event.index));
            break;
        }
        case MediaCodec::CB_OUTPUT_FORMAT_CHANGED:
            if (mEncoderFormat != nullptr) mFailed = true;
            mEncoderFormat = std::make_unique<CodecEvent>(event);
            break;
        default:
            mFailed = true;
            break;
    }
}

std::vector<int64_t> VideoJob::timesUs() const {
    std::vector<int64_t> times;
    times.reserve(mUnits.size());
    for (const EncodedUnit& unit : mUnits)
        times.push_back(unit.timeUs);
    return times;
}

size_t VideoJob::decoderFormatCount() const {
    return CodecClient::countOf(mDecoder->events(), MediaCodec::CB_OUTPUT_FORMAT_CHANGED);
}

bool VideoJob::write(const std::string& path) const {
    if (mEncoderFormat == nullptr) return false;
    sp<ABuffer> sps;
    sp<ABuffer> pps;
    int32_t width = 0;
    int32_t height = 0;
    mEncoderFormat->format->findBuffer("csd-0", &sps);
    mEncoderFormat->format->findBuffer("csd-1", &pps);
    mEncoderFormat->format->findInt32("width", &width);
    mEncoderFormat->format->findInt32("height", &height);
    if (sps == nullptr || pps == nullptr) return false;

    AVFormatContext* file = nullptr;
    if (avformat_alloc_output_context2(&file, nullptr, nullptr, path.c_str()) < 0) return false;
    AVStream* stream = avformat_new_stream(file, nullptr);
    AVCodecParameters* parameters = stream->codecpar;
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = AV_CODEC_ID_H264;
    parameters->width = width;
    parameters->height = height;
    parameters->extradata_size = static_cast<int>(sps->size() + pps->size());
    parameters->extradata = static_cast<uint8_t*>(
            av_mallocz(parameters->extradata_size + AV_INPUT_BUFFER_PADDING_SIZE));
    memcpy(parameters->extradata, sps->data(), sps->size());
    memcpy(parameters->extradata + sps->size(), pps->data(), pps->size());
    stream->time_base = {1, 90000};
    bool written = avio_open(&file->pb, path.c_str(), AVIO_FLAG_WRITE) >= 0 &&
                   avformat_write_header(file, nullptr) >= 0;
    for (size_t i = 0; i < mUnits.size(); ++i) {
        const EncodedUnit& unit = mUnits[i];
        // A last picture without a duration would not be shown.
        const int64_t nextUs = i + 1 < mUnits.size() ? mUnits[i + 1].timeUs : unit.timeUs + 40000;
        AVPacket* packet = av_packet_alloc();
        av_new_packet(packet, static_cast<int>(unit.bytes.size()));
        memcpy(packet->data, unit.bytes.data(), unit.bytes.size());
        packet->pts = packet->dts =
                av_rescale_q(unit.timeUs, AVRational{1, 1000000}, stream->time_base);
        packet->duration =
                av_rescale_q(nextUs - unit.timeUs, AVRational{1, 1000000}, stream->time_base);
        if (unit.flags & MediaCodec::BUFFER_FLAG_SYNCFRAME) packet->flags |= AV_PKT_FLAG_KEY;
        written = written && av_write_frame(file, packet) >= 0;
        av_packet_free(&packet);
    }
    written = written && av_write_trailer(file) >= 0;
    avio_closep(&file->pb);
    avformat_free_context(file);
    return written;
}

}  // namespace oxa::test
