// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/camera/CameraJob.h"

#include <gui/Surface.h>
#include <media/MediaBufferHolder.h>
#include <media/stagefright/MediaBuffer.h>
#include <mediadrm/ICrypto.h>

#include <cmath>
#include <cstring>

#include "support/MediaReader.h"

namespace oxa::test {

using namespace android;

CameraJob::CameraJob(const sp<CameraSource>& source, const CameraJobOptions& options)
    : mSource(source), mOptions(options) {
    const sp<AMessage> format = new AMessage;
    format->setString("mime", "video/avc");
    format->setInt32("width", options.width);
    format->setInt32("height", options.height);
    format->setInt32("stride", options.width);
    format->setInt32("slice-height", options.height);
    format->setInt32("create-input-buffers-suspended", 1);
    format->setInt32("frame-rate", 30);
    format->setInt32("video-de-interlace", options.deinterlace);
    format->setInt32("bitrate", 4000000);
    format->setInt32("i-frame-interval", 1);
    format->setInt32("color-format", 0x7F000789);
    format->setInt32("level", 0);
    format->setInt32("profile", 0);
    format->setInt32("android._input-metadata-buffer-type", source->metaDataStoredInVideoBuffers());
    mEncoder.setHandler([this](const CodecEvent& event) { onEvent(event); });
    mFailed = mEncoder.setCallback() != OK ||
              mEncoder->configure(format, NULL, NULL, MediaCodec::CONFIGURE_FLAG_ENCODE) != OK;
}

bool CameraJob::run() {
    if (mFailed || mSource->start() != OK || mEncoder->start() != OK) return false;
    const bool ended = mEncoder.waitFor([](const CodecClient::Events& events) {
        return !events.empty() && (events.back().flags & MediaCodec::BUFFER_FLAG_EOS) &&
               events.back().id == MediaCodec::CB_OUTPUT_AVAILABLE;
    });
    mEncoder.stopCallbacks();
    mEncoder.release();
    return mSource->stop() == OK && ended && !mFailed;
}

void CameraJob::onEvent(const CodecEvent& event) {
    sp<MediaCodecBuffer> buffer;
    if (event.id == MediaCodec::CB_OUTPUT_FORMAT_CHANGED) {
        for (const char* key : {"csd-0", "csd-1"}) {
            sp<ABuffer> csd;
            if (!event.format->findBuffer(key, &csd)) continue;
            mHeader.insert(mHeader.end(), csd->data(), csd->data() + csd->size());
        }
    } else if (event.id == MediaCodec::CB_INPUT_AVAILABLE) {
        if (mEncoder->getInputBuffer(event.index, &buffer) == OK) feed(event.index, buffer);
    } else if (event.id == MediaCodec::CB_OUTPUT_AVAILABLE && event.size > 0) {
        if (mEncoder->getOutputBuffer(event.index, &buffer) == OK) {
            mUnits.emplace_back(buffer->data(), buffer->data() + event.size);
            mTimesUs.push_back(event.timeUs);
        }
        mEncoder->releaseOutputBuffer(event.index);
    }
}

// The last picture carries the end, as recorders mark it.
void CameraJob::feed(size_t index, const sp<MediaCodecBuffer>& buffer) {
    MediaBufferBase* frame = nullptr;
    if (mFed == mOptions.pictures) return;
    if (mSource->read(&frame) != OK || frame == nullptr || frame->size() > buffer->capacity()) {
        mFailed = true;
        return;
    }
    int64_t timeUs = 0;
    frame->meta_data().findInt64(kKeyTime, &timeUs);
    memcpy(buffer->base(), frame->data(), frame->size());
    buffer->meta()->setObject("mediaBufferHolder", new MediaBufferHolder(frame));
    frame->release();
    mEncoder->queueInputBuffer(index, 0, frame->size(), timeUs,
                               ++mFed == mOptions.pictures ? MediaCodec::BUFFER_FLAG_EOS : 0);
}

std::vector<int> CameraJob::decodedNumbers() const {
    std::vector<int> numbers;
    const CodecContextPtr decoder(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_H264)));
    decoder->thread_count = 1;
    if (avcodec_open2(decoder.get(), nullptr, nullptr) < 0) return numbers;
    const FramePtr frame(av_frame_alloc());
    const auto receive = [&] {
        while (avcodec_receive_frame(decoder.get(), frame.get()) == 0) {
            double sum = 0;
            for (int y = 0; y < frame->height; ++y) {
                for (int x = 0; x < frame->width; ++x)
                    sum += frame->data[0][y * frame->linesize[0] + x];
            }
            mWidth = frame->width;
            numbers.push_back(static_cast<int>(std::lround(sum / frame->width / frame->height)) -
                              20);
        }
    };
    const auto send = [&](std::vector<uint8_t> bytes) {
        const PacketPtr packet(av_packet_alloc());
        const size_t size = bytes.size();
        bytes.resize(size + AV_INPUT_BUFFER_PADDING_SIZE);
        packet->data = bytes.data();
        packet->size = static_cast<int>(size);
        avcodec_send_packet(decoder.get(), packet.get());
        receive();
    };
    std::vector<uint8_t> first = mHeader;
    for (const std::vector<uint8_t>& unit : mUnits) {
        first.insert(first.end(), unit.begin(), unit.end());
        send(first);
        first.clear();
    }
    avcodec_send_packet(decoder.get(), nullptr);
    receive();
    return numbers;
}

}  // namespace oxa::test
