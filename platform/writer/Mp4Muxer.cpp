// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "Mp4Muxer"

#include "writer/Mp4Muxer.h"

#include <errno.h>
#include <log/log.h>
#include <media/stagefright/foundation/MediaDefs.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <algorithm>
#include <utility>

#include "ffmpeg/CodecTable.h"
#include "ffmpeg/TimeBase.h"
#include "writer/MuxerTags.h"

extern "C" {
#include <libavutil/intreadwrite.h>
#include <libavutil/opt.h>
}

namespace android {

namespace {

constexpr int64_t kMaxPieceSize = 8 << 20;
constexpr size_t kBoxHeaderSize = 8;
constexpr size_t kLargeBoxHeaderSize = 16;
constexpr uint32_t kLargeSize = 1;

bool isBox(const uint8_t* box, const char* type) {
    return memcmp(box + 4, type, 4) == 0;
}

bool isWritable(AVCodecID codec) {
    for (AVCodecID known : {AV_CODEC_ID_H264, AV_CODEC_ID_HEVC, AV_CODEC_ID_MPEG4, AV_CODEC_ID_H263,
                            AV_CODEC_ID_AAC, AV_CODEC_ID_AMR_NB, AV_CODEC_ID_AMR_WB}) {
        if (codec == known) return true;
    }
    return false;
}

// What libavformat's muxer for 3GPP files writes, and its muxer for MP4 does not; and the reverse.
bool isOf3gppOnly(AVCodecID codec) {
    return codec == AV_CODEC_ID_H263 || codec == AV_CODEC_ID_AMR_NB || codec == AV_CODEC_ID_AMR_WB;
}

bool isOfMp4Only(AVCodecID codec) {
    return codec == AV_CODEC_ID_HEVC;
}

// The header of an mdat of that size, or of a "free" box of the same 16 bytes.
std::vector<uint8_t> largeBoxHeader(const char* type, uint32_t size, uint64_t largeSize) {
    std::vector<uint8_t> header(kLargeBoxHeaderSize);
    AV_WB32(header.data(), size);
    memcpy(header.data() + 4, type, 4);
    AV_WB64(header.data() + kBoxHeaderSize, largeSize);
    return header;
}

}  // namespace

std::unique_ptr<ContainerMuxer> Mp4Muxer::another() const {
    auto other = std::make_unique<Mp4Muxer>();
    other->setPieceDurationUs(mPieceDurationUs);
    other->setTimeScale(mTimeScale);
    other->setLocation(mLocation);
    return other;
}

bool Mp4Muxer::accepts(const char* mime,
                       const std::vector<std::unique_ptr<TrackDescription>>& others) const {
    const AVCodecID codec = codecForMime(mime);
    if (!isWritable(codec)) return false;
    return std::none_of(others.begin(), others.end(), [codec](const auto& other) {
        const AVCodecID present = other->parameters->codec_id;
        return (isOf3gppOnly(codec) && isOfMp4Only(present)) ||
               (isOfMp4Only(codec) && isOf3gppOnly(present));
    });
}

int Mp4Muxer::open(WriterOutput* output,
                   const std::vector<std::unique_ptr<TrackDescription>>& tracks, int rotation) {
    mOutput = output;
    mTags = oxa::host::outputTags();
    for (const auto& track : tracks) {
        mTracks.emplace_back();
        mTracks.back().timeBase = track->timeBase;
        if (isOf3gppOnly(track->parameters->codec_id)) mFormat = "3gp";
    }

    mPieceStream = std::make_unique<MuxerStream>(
            false, [this](int64_t position, const uint8_t* data, int size) {
                return takePiece(position, data, size);
            });
    mPieceMuxer = newMuxer(mFormat, mPieceStream.get());
    int result = openMuxer(mPieceMuxer, tracks, rotation,
                           "empty_moov+delay_moov+default_base_moof+frag_custom");
    if (result >= 0 && mOutput->isSeekable()) result = openIndex(tracks, rotation);
    mOpen = result >= 0;
    return result;
}

int Mp4Muxer::openIndex(const std::vector<std::unique_ptr<TrackDescription>>& tracks,
                        int rotation) {
    mIndexStream = std::make_unique<MuxerStream>(
            true, [this](int64_t position, const uint8_t* data, int size) {
                return collectIndex(position, data, size);
            });
    mIndexMuxer = newMuxer(mFormat, mIndexStream.get());
    return openMuxer(mIndexMuxer, tracks, rotation, "0");
}

int Mp4Muxer::openMuxer(AVFormatContext* muxer,
                        const std::vector<std::unique_ptr<TrackDescription>>& tracks, int rotation,
                        const char* flags) {
    if (muxer == nullptr) return AVERROR(ENOMEM);
    for (const auto& track : tracks) {
        const int result = addStream(muxer, *track, rotation);
        if (result < 0) return result;
    }
    addMetadata(muxer, mTags);
    if (!mLocation.empty()) av_dict_set(&muxer->metadata, "location", mLocation.c_str(), 0);
    AvDictionaryOwner options;
    av_dict_set(options.address(), "movflags", flags, 0);
    av_dict_set(options.address(), "brand", "isom", 0);
    av_dict_set(options.address(), "use_editlist", "1", 0);
    av_dict_set_int(options.address(), "movie_timescale", mTimeScale, 0);
    av_dict_set_int(options.address(), "video_track_timescale", 90000, 0);
    return avformat_write_header(muxer, options.address());
}

// Samples go to the file as they come, other boxes when they are whole.
int Mp4Muxer::takePiece(int64_t /*position*/, const uint8_t* data, int size) {
    const uint8_t* const end = data + size;
    while (data < end) {
        const auto rest = static_cast<size_t>(end - data);
        const size_t taken = std::min(rest, mSamplesLeft > 0 ? mSamplesLeft : missingOfBox());
        const int error = mSamplesLeft > 0 ? writeSamples(data, taken) : collectBox(data, taken);
        if (error != 0) return error;
        data += taken;
    }
    return 0;
}

size_t Mp4Muxer::missingOfBox() const {
    if (mBox.size() < kBoxHeaderSize) return kBoxHeaderSize - mBox.size();
    return AV_RB32(mBox.data()) - mBox.size();
}

int Mp4Muxer::collectBox(const uint8_t* data, size_t size) {
    mBox.insert(mBox.end(), data, data + size);
    if (mBox.size() < kBoxHeaderSize) return 0;
    const size_t boxSize = AV_RB32(mBox.data());
    if (boxSize < kBoxHeaderSize) return EINVAL;
    if (isBox(mBox.data(), "mdat")) {
        mSamplesLeft = boxSize - kBoxHeaderSize;
    } else if (mBox.size() < boxSize) {
        return 0;
    }
    return writeBox();
}

int Mp4Muxer::writeSamples(const uint8_t* data, size_t size) {
    if (mOutput->append(data, size) != 0) return mOutput->error();
    mSamplesLeft -= size;
    return mSamplesLeft == 0 ? endBox() : 0;
}

int Mp4Muxer::collectIndex(int64_t position, const uint8_t* data, int size) {
    if (!mCollectIndex || position < mFileEnd) return 0;
    const size_t offset = position - mFileEnd;
    mIndex.resize(std::max(mIndex.size(), offset + size));
    memcpy(mIndex.data() + offset, data, size);
    return 0;
}

int Mp4Muxer::write(AVPacket* packet) {
    if (isPieceComplete(*packet)) {
        const int result = writePiece();
        if (result < 0) return result;
    }
    Track& track = mTracks[packet->stream_index];
    if (!track.seen && mFileEnd > 0) {
        // The first moov did not know where this track starts: its pieces have to say so.
        av_opt_set(mPieceMuxer->priv_data, "movflags", "+frag_discont", 0);
    }
    av_packet_rescale_ts(packet, track.timeBase,
                         mPieceMuxer->streams[packet->stream_index]->time_base);
    track.samples.push_back(
            {packet->pts, packet->dts, packet->duration, packet->size, packet->flags});
    track.seen = true;
    mPieceSize += packet->size;
    return av_write_frame(mPieceMuxer, packet);
}

bool Mp4Muxer::isPieceComplete(const AVPacket& packet) const {
    const Track& track = mTracks[packet.stream_index];
    if (mPieceSize >= kMaxPieceSize) return true;
    if (track.samples.empty()) return false;
    const int64_t lengthUs = av_rescale_q(packet.dts - track.samples.front().decodingTime,
                                          track.timeBase, kMicroseconds);
    return lengthUs >= mPieceDurationUs;
}

int Mp4Muxer::writePiece() {
    // The muxer cuts its first piece in two steps, the moov and the samples.
    for (int step = mFileEnd == 0 ? 0 : 1; step < 2; ++step) {
        const int result = av_write_frame(mPieceMuxer, nullptr);
        if (result < 0) return result;
    }
    avio_flush(mPieceStream->context());
    mPieceSize = 0;
    for (Track& track : mTracks)
        track.samples.clear();
    return mPieceStream->context()->error;
}

int Mp4Muxer::writeBox() {
    if (mOutput->append(mBox.data(), mBox.size()) != 0) return mOutput->error();
    return mSamplesLeft == 0 ? endBox() : 0;
}

int Mp4Muxer::endBox() {
    if (isBox(mBox.data(), "mdat") && mIndexMuxer != nullptr) {
        const int result = indexSamples(mFileEnd + kBoxHeaderSize);
        if (result < 0) return AVUNERROR(result);
    }
    mFileEnd += AV_RB32(mBox.data());
    if (isBox(mBox.data(), "ftyp") && mOutput->isSeekable()) {
        const auto free = largeBoxHeader("free", kLargeBoxHeaderSize, 0);
        if (mOutput->append(free.data(), free.size()) != 0) return mOutput->error();
        mMediaStart = mFileEnd;
        mFileEnd += kLargeBoxHeaderSize;
    }
    mBox.clear();
    return 0;
}

// Pages that are only read take no memory.
uint8_t* Mp4Muxer::zeros(size_t size) {
    if (size > mZerosSize) {
        mZeros.reset(static_cast<uint8_t*>(calloc(size, 1)));
        mZerosSize = mZeros != nullptr ? size : 0;
    }
    return mZeros.get();
}

// The samples of a piece lie one track behind the other.
int Mp4Muxer::indexSamples(int64_t position) {
    for (size_t i = 0; i < mTracks.size(); ++i) {
        Track& track = mTracks[i];
        for (const Sample& sample : track.samples) {
            track.last.duration = sample.decodingTime - track.last.decodingTime;
            const int result = indexLast(i);
            if (result < 0) return result;
            track.last = sample;
            track.lastPosition = position;
            position += sample.size;
        }
    }
    return 0;
}

int Mp4Muxer::indexLast(size_t track) {
    const Sample& sample = mTracks[track].last;
    const int64_t position = std::exchange(mTracks[track].lastPosition, -1);
    if (position < 0) return 0;
    const AvPacketOwner packet(av_packet_alloc());
    if (packet == nullptr) return AVERROR(ENOMEM);
    packet->data = zeros(sample.size);
    packet->size = sample.size;
    packet->pts = sample.presentationTime;
    packet->dts = sample.decodingTime;
    packet->duration = sample.duration;
    packet->flags = sample.flags;
    packet->stream_index = static_cast<int>(track);
    int result = packet->data == nullptr && sample.size > 0 ? AVERROR(ENOMEM) : 0;
    avio_seek(mIndexStream->context(), position, SEEK_SET);
    if (result >= 0) result = av_write_frame(mIndexMuxer, packet);
    packet->data = nullptr;
    return result;
}

void Mp4Muxer::setEnd(int track, int64_t time) {
    mTracks[track].end =
            av_rescale_q(time, mTracks[track].timeBase, mPieceMuxer->streams[track]->time_base);
}

int Mp4Muxer::finish() {
    if (!mOpen) return 0;
    if (mOutput->error() == 0) {
        const int result = writePiece();
        if (result < 0 && mOutput->error() == 0) return result;
    }
    if (mIndexMuxer == nullptr) return AVERROR(mOutput->error());
    // What came behind the last whole piece makes room for the index. Without room the pieces stay
    // what the file is made of.
    if (mOutput->error() != 0 && mOutput->recover(mFileEnd) != 0) return AVERROR(mOutput->error());
    const int result = writeIndex();
    if (mOutput->error() != 0) return dropIndex();
    return result < 0 ? result : useIndex();
}

int Mp4Muxer::writeIndex() {
    for (size_t i = 0; i < mTracks.size(); ++i) {
        const int64_t length = mTracks[i].end - mTracks[i].last.decodingTime;
        if (mTracks[i].end > mTracks[i].last.decodingTime) mTracks[i].last.duration = length;
        const int result = indexLast(i);
        if (result < 0) return result;
    }
    AVIOContext* const stream = mIndexStream->context();
    avio_seek(stream, mFileEnd, SEEK_SET);
    avio_flush(stream);
    mCollectIndex = true;
    int result = addChapters(mIndexMuxer, mTags);
    if (result >= 0) result = av_write_trailer(mIndexMuxer);
    if (result < 0) return result;
    avio_flush(stream);
    keepChapters();
    mOutput->append(mIndex.data(), mIndex.size());
    return AVERROR(mOutput->sync());
}

// The names of chapters are samples of a track that the index alone has. They come in front of it
// and are media.
void Mp4Muxer::keepChapters() {
    size_t size = 0;
    const auto isIndex = [&] {
        const uint8_t* box = mIndex.data() + size;
        return AV_RB32(box) == mIndex.size() - size && isBox(box, "moov");
    };
    while (size + kBoxHeaderSize <= mIndex.size() && !isIndex())
        ++size;
    if (size == 0 || size + kBoxHeaderSize > mIndex.size()) return;
    mOutput->append(mIndex.data(), size);
    mIndex.erase(mIndex.begin(), mIndex.begin() + static_cast<std::ptrdiff_t>(size));
    mFileEnd += static_cast<int64_t>(size);
}

// Behind this the pieces are hidden: the index stays, even if the disk is not known to have both.
int Mp4Muxer::useIndex() {
    const auto header = largeBoxHeader("mdat", kLargeSize, mFileEnd - mMediaStart);
    if (mOutput->writeAt(mMediaStart, header.data(), header.size()) != 0) return dropIndex();
    return AVERROR(mOutput->sync());
}

// Back to the pieces. The output's error.
int Mp4Muxer::dropIndex() {
    const int error = mOutput->error();
    mOutput->recover(mFileEnd);
    return AVERROR(error);
}

}  // namespace android
