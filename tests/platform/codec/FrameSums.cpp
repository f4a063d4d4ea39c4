// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/codec/FrameSums.h"

#include <datasource/FileSource.h>
#include <mediadrm/ICrypto.h>

#include <cstdio>
#include <sstream>

#include "support/ProcessRunner.h"

extern "C" {
#include <libavutil/mathematics.h>
#include <libavutil/md5.h>
}

namespace oxa::test {

using namespace android;

namespace {

std::string md5Of(const uint8_t* data, size_t size) {
    uint8_t sum[16];
    av_md5_sum(sum, data, size);
    std::string text;
    for (const uint8_t byte : sum) {
        char hex[3];
        snprintf(hex, sizeof(hex), "%02x", byte);
        text += hex;
    }
    return text;
}

}  // namespace

FrameSums commandSums(const std::string& path, const std::string& filters) {
    std::vector<std::string> command = {"ffmpeg", "-v",   "error", "-nostdin",  "-i",
                                        path,     "-map", "0:v:0", "-fps_mode", "passthrough"};
    if (!filters.empty()) command.insert(command.end(), {"-vf", filters});
    command.insert(command.end(),
                   {"-enc_time_base", "-1", "-pix_fmt", "yuv420p", "-f", "framemd5", "-"});
    std::istringstream lines(runOrDie(command).out);
    FrameSums sums;
    AVRational timeBase = {0, 1};
    int64_t firstPts = 0;
    for (std::string line; std::getline(lines, line);) {
        long long pts = 0;
        char md5[33] = {};
        if (sscanf(line.c_str(), "#tb 0: %d/%d", &timeBase.num, &timeBase.den) == 2) {
            sums.tickUs = INT64_C(1000000) * timeBase.num / timeBase.den + 1;
            continue;
        }
        if (sscanf(line.c_str(), "#dimensions 0: %dx%d", &sums.width, &sums.height) == 2) continue;
        if (sscanf(line.c_str(), "%*d, %*d, %lld, %*d, %*d, %32s", &pts, md5) != 2) continue;
        if (sums.frames.empty()) firstPts = pts;
        sums.frames.push_back(
                {av_rescale_q(pts - firstPts, timeBase, AVRational{1, 1000000}), md5});
    }
    return sums;
}

FrameSums decoderSums(const VideoJobOptions& options) {
    const sp<NuMediaExtractor> extractor =
            new NuMediaExtractor(NuMediaExtractor::EntryPoint::OTHER);
    if (extractor->setDataSource(new FileSource(options.path.c_str())) != OK) return {};
    sp<AMessage> format;
    AString mime;
    for (size_t i = 0; i < extractor->countTracks() && !mime.startsWith("video/"); ++i) {
        extractor->getTrackFormat(i, &format);
        format->findString("mime", &mime);
        if (mime.startsWith("video/")) extractor->selectTrack(i);
    }
    if (options.width != 0) {
        format->setInt32("eWid", options.width);
        format->setInt32("eHei", options.height);
    }
    if (options.frameRate != 0) format->setInt32("eFps", options.frameRate);
    if (options.deinterlace >= 0) format->setInt32("video-de-interlace", options.deinterlace);

    FrameSums sums;
    int samples = 0;
    CodecClient decoder(mime.c_str(), false);
    decoder.setHandler([&](const CodecEvent& event) {
        sp<MediaCodecBuffer> buffer;
        if (event.id == MediaCodec::CB_INPUT_AVAILABLE) {
            if (decoder->getInputBuffer(event.index, &buffer) != OK) return;
            const sp<ABuffer> sample = new ABuffer(buffer->base(), buffer->capacity());
            if (extractor->readSampleData(sample) != OK) {
                decoder->queueInputBuffer(event.index, 0, 0, 0, MediaCodec::BUFFER_FLAG_EOS);
                return;
            }
            int64_t timeUs = 0;
            extractor->getSampleTime(&timeUs);
            if (options.onSample) options.onSample(samples++, sample->data(), sample->size());
            decoder->queueInputBuffer(event.index, 0, sample->size(), timeUs, 0);
            extractor->advance();
        } else if (event.id == MediaCodec::CB_OUTPUT_AVAILABLE) {
            if (decoder->getOutputBuffer(event.index, &buffer) != OK) return;
            if (event.size > 0) {
                sums.frames.push_back({event.timeUs, md5Of(buffer->data(), buffer->size())});
            }
            decoder->releaseOutputBuffer(event.index);
        } else if (event.id == MediaCodec::CB_OUTPUT_FORMAT_CHANGED) {
            event.format->findInt32("width", &sums.width);
            event.format->findInt32("height", &sums.height);
        }
    });
    if (decoder.setCallback() != OK || decoder->configure(format, NULL, NULL, 0) != OK ||
        decoder->start() != OK) {
        return {};
    }
    const bool ended = decoder.waitFor([](const CodecClient::Events& events) {
        return !events.empty() && (events.back().flags & MediaCodec::BUFFER_FLAG_EOS);
    });
    decoder.stopCallbacks();
    if (!ended) return {};
    const int64_t firstUs = sums.frames.empty() ? 0 : sums.frames[0].timeUs;
    for (FrameSum& frame : sums.frames)
        frame.timeUs -= firstUs;
    return sums;
}

}  // namespace oxa::test
