// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/container/WriterSession.h"

#include <gtest/gtest.h>
#include <media/stagefright/MPEG2TSWriter.h>
#include <media/stagefright/MPEG4Writer.h>
#include <media/stagefright/MediaBuffer.h>
#include <media/stagefright/foundation/MediaDefs.h>
#include <unistd.h>

#include <algorithm>

#include "container/AvcStream.h"
#include "container/Esds.h"
#include "support/MediaReader.h"

namespace oxa::test {

using namespace android;

namespace {

constexpr AVRational kMicroseconds = {1, 1000000};

sp<MetaData> describe(const AVCodecParameters& parameters) {
    sp<MetaData> meta = new MetaData;
    if (parameters.codec_type == AVMEDIA_TYPE_VIDEO) {
        meta->setCString(kKeyMIMEType, MEDIA_MIMETYPE_VIDEO_AVC);
        meta->setInt32(kKeyWidth, parameters.width);
        meta->setInt32(kKeyHeight, parameters.height);
        meta->setData(kKeyAVCC, kTypeAVCC, parameters.extradata, parameters.extradata_size);
    } else {
        meta->setCString(kKeyMIMEType, MEDIA_MIMETYPE_AUDIO_AAC);
        meta->setInt32(kKeyChannelCount, parameters.ch_layout.nb_channels);
        meta->setInt32(kKeySampleRate, parameters.sample_rate);
        const auto esds = makeEsds(parameters.extradata, parameters.extradata_size);
        meta->setData(kKeyESDS, kTypeESDS, esds.data(), esds.size());
    }
    return meta;
}

std::vector<uint8_t> startCodesForLengths(const uint8_t* data, size_t size) {
    std::vector<uint8_t> out;
    while (size >= 4) {
        const size_t length = size_t{data[0]} << 24 | data[1] << 16 | data[2] << 8 | data[3];
        EXPECT_LE(length, size - 4);
        if (length > size - 4) break;
        out.insert(out.end(), {0, 0, 0, 1});
        out.insert(out.end(), data + 4, data + 4 + length);
        data += 4 + length;
        size -= 4 + length;
    }
    return out;
}

TrackSample makeSample(const AVStream& stream, const AVPacket& packet) {
    TrackSample sample;
    sample.track = packet.stream_index;
    sample.timeUs = av_rescale_q(packet.pts, stream.time_base, kMicroseconds);
    sample.sync = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    const AVCodecParameters& parameters = *stream.codecpar;
    const bool lengths = parameters.codec_id == AV_CODEC_ID_H264 && parameters.extradata_size > 0 &&
                         parameters.extradata[0] == 1;
    if (lengths)
        sample.data = startCodesForLengths(packet.data, packet.size);
    else
        sample.data.assign(packet.data, packet.data + packet.size);
    return sample;
}

}  // namespace

EncodedClip::EncodedClip(const std::string& path, int64_t endUs) {
    MediaReader reader(path);
    EXPECT_TRUE(reader.ok()) << reader.error();
    for (unsigned i = 0; i < reader.format()->nb_streams; ++i) {
        formats.push_back(describe(*reader.format()->streams[i]->codecpar));
    }
    reader.readPackets([&](const AVPacket& packet) {
        samples.push_back(makeSample(*reader.format()->streams[packet.stream_index], packet));
        if (samples.back().timeUs >= endUs) samples.pop_back();
    });
}

WriterSession::WriterSession(Container container, int fd) {
    if (container == Container::kMp4)
        mWriter = new MPEG4Writer(fd);
    else
        mWriter = new MPEG2TSWriter(fd);
    if (fd >= 0) close(fd);
}

WriterSession::WriterSession(const sp<MediaWriter>& writer) : mWriter(writer) {}

status_t WriterSession::addTrack(const sp<MetaData>& format) {
    sp<MediaAdapter> adapter = new MediaAdapter(format);
    const status_t err = mWriter->addSource(adapter);
    if (err == OK) mAdapters.push_back(adapter);
    return err;
}

void WriterSession::start(const EncodedClip& clip, MetaData* params) {
    for (const sp<MetaData>& format : clip.formats)
        ASSERT_EQ(addTrack(format), OK);
    ASSERT_EQ(mWriter->start(params), OK);
}

status_t WriterSession::push(const TrackSample& sample) {
    std::vector<uint8_t> data = sample.data;
    auto* buffer = new MediaBuffer(data.data(), data.size());
    buffer->add_ref();
    buffer->meta_data().setInt64(kKeyTime, sample.timeUs);
    buffer->meta_data().setInt64(kKeyDecodingTime, sample.timeUs);
    if (sample.sync) buffer->meta_data().setInt32(kKeyIsSyncFrame, 1);
    const status_t err = mAdapters[sample.track]->pushBuffer(buffer);
    // The memory is free again: a writer that still looked at it would write this.
    std::fill(data.begin(), data.end(), 0xEE);
    if (err != OK) {
        // Nobody has taken the reference over; an observer makes it go.
        struct : public MediaBufferObserver {
            void signalBufferReturned(MediaBufferBase* returned) override {
                returned->setObserver(nullptr);
                returned->release();
            }
        } observer;
        buffer->setObserver(&observer);
        buffer->release();
    }
    return err;
}

bool WriterSession::push(const std::vector<TrackSample>& samples) {
    return std::all_of(samples.begin(), samples.end(),
                       [this](const TrackSample& sample) { return push(sample) == OK; });
}

status_t WriterSession::stop() {
    for (const sp<MediaAdapter>& adapter : mAdapters)
        adapter->stop();
    return mWriter->stop();
}

std::vector<uint8_t> withoutParameterSets(const std::vector<uint8_t>& annexB) {
    constexpr int kDelimiter = 9;
    std::vector<uint8_t> out;
    for (const NalUnit& unit : splitAnnexB(annexB.data(), annexB.size())) {
        if (unit.type() == kDelimiter || unit.type() == kNalTypeSequenceParameters ||
            unit.type() == kNalTypePictureParameters) {
            continue;
        }
        out.insert(out.end(), {0, 0, 0, 1});
        out.insert(out.end(), unit.data, unit.data + unit.size);
    }
    return out;
}

std::vector<TrackSample> readSamples(const std::string& path) {
    std::vector<TrackSample> samples;
    MediaReader reader(path);
    EXPECT_TRUE(reader.ok()) << reader.error();
    if (!reader.ok()) return samples;
    reader.readPackets([&](const AVPacket& packet) {
        const AVStream& stream = *reader.format()->streams[packet.stream_index];
        TrackSample sample = makeSample(stream, packet);
        if (stream.codecpar->codec_id == AV_CODEC_ID_H264) {
            sample.data = withoutParameterSets(sample.data);
        } else if (strcmp(reader.format()->iformat->name, "mpegts") == 0) {
            constexpr size_t kAdtsHeader = 7;
            EXPECT_GT(sample.data.size(), kAdtsHeader);
            sample.data.erase(sample.data.begin(), sample.data.begin() + kAdtsHeader);
        }
        samples.push_back(sample);
    });
    return samples;
}

}  // namespace oxa::test
