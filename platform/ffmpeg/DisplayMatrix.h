// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {
#include <libavcodec/version.h>
#include <libavformat/avformat.h>
}

namespace android {

// How a stream's pictures are to be turned for display, which FFmpeg 6.1 keeps in another place.

constexpr size_t kDisplayMatrixSize = 9 * sizeof(int32_t);

// The bytes of a matrix of that size; null where there is none.
inline const uint8_t* displayMatrix(const AVStream& stream) {
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 30, 101)
    const AVPacketSideData* const data =
            av_packet_side_data_get(stream.codecpar->coded_side_data,
                                    stream.codecpar->nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX);
    return data != nullptr && data->size >= kDisplayMatrixSize ? data->data : nullptr;
#else
    size_t size = 0;
    const uint8_t* const data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    return size >= kDisplayMatrixSize ? data : nullptr;
#endif
}

// A place for one, the stream's; null without memory.
inline uint8_t* newDisplayMatrix(AVStream* stream) {
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 30, 101)
    AVCodecParameters& parameters = *stream->codecpar;
    AVPacketSideData* const data =
            av_packet_side_data_new(&parameters.coded_side_data, &parameters.nb_coded_side_data,
                                    AV_PKT_DATA_DISPLAYMATRIX, kDisplayMatrixSize, 0);
    return data != nullptr ? data->data : nullptr;
#else
    return av_stream_new_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, kDisplayMatrixSize);
#endif
}

}  // namespace android
