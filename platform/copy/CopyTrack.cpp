// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "copy/CopyTrack.h"

#include <string.h>

#include <vector>

#include "ffmpeg/DisplayMatrix.h"
#include "media/AvcStream.h"

namespace android {

namespace {

const char* nameOf(const CopyTrack& track) {
    return track.parameters->codec_type == AVMEDIA_TYPE_VIDEO ? "the picture" : "the sound";
}

// The parameter sets, however the container keeps them.
std::vector<uint8_t> parameterSetsOf(const AVCodecParameters& parameters) {
    const uint8_t* const data = parameters.extradata;
    const size_t size = parameters.extradata_size;
    const std::vector<uint8_t> annexB = annexBFromAvcConfiguration(data, size);
    const auto units =
            annexB.empty() ? splitAnnexB(data, size) : splitAnnexB(annexB.data(), annexB.size());
    std::vector<uint8_t> sets;
    for (const NalUnit& unit : units) {
        const bool isSet = unit.type() == kNalTypeSequenceParameters ||
                           unit.type() == kNalTypePictureParameters;
        if (isSet) sets.insert(sets.end(), unit.data, unit.data + unit.size);
    }
    return sets;
}

std::string isNot(const CopyTrack& track, const std::string& value, const std::string& wanted) {
    return std::string(nameOf(track)) + " is " + value + ", not " + wanted;
}

// Whether samples have lengths in front of their units, and headers in front of frames of sound.
bool isOfOtherForm(const AVCodecParameters& a, const AVCodecParameters& b) {
    const auto formOf = [](const AVCodecParameters& parameters) {
        const size_t size = parameters.extradata_size;
        if (parameters.codec_type == AVMEDIA_TYPE_AUDIO) return size > 0 ? 1 : 0;
        const bool hasLengths = !annexBFromAvcConfiguration(parameters.extradata, size).empty();
        return hasLengths ? 1 + (parameters.extradata[4] & 3) : 0;
    };
    return formOf(a) != formOf(b);
}

std::string pictureDifference(const CopyTrack& other, const CopyTrack& first) {
    const auto sizeOf = [](const AVCodecParameters& parameters) {
        return std::to_string(parameters.width) + "x" + std::to_string(parameters.height);
    };
    const std::string size = sizeOf(*other.parameters);
    const std::string wanted = sizeOf(*first.parameters);
    if (size != wanted) return isNot(other, size, wanted);
    if (other.displayMatrix != first.displayMatrix) return "the picture is turned otherwise";
    if (parameterSetsOf(*other.parameters) == parameterSetsOf(*first.parameters)) return "";
    return "the picture was encoded with other settings";
}

// What the configuration says, if there is one: whether the demuxer tells it, too, depends on how
// much of a file it had to read.
int aacProfileOf(const AVCodecParameters& parameters) {
    constexpr int kObjectTypeShift = 3;
    if (parameters.extradata_size == 0) return parameters.profile;
    return (parameters.extradata[0] >> kObjectTypeShift) - 1;
}

std::string soundDifference(const CopyTrack& other, const CopyTrack& first) {
    const AVCodecParameters& a = *other.parameters;
    const AVCodecParameters& b = *first.parameters;
    if (a.sample_rate != b.sample_rate) {
        return isNot(other, std::to_string(a.sample_rate) + " Hz",
                     std::to_string(b.sample_rate) + " Hz");
    }
    if (a.ch_layout.nb_channels != b.ch_layout.nb_channels) {
        return "the sound has " + std::to_string(a.ch_layout.nb_channels) + " channels, not " +
               std::to_string(b.ch_layout.nb_channels);
    }
    return aacProfileOf(a) == aacProfileOf(b) ? "" : "the sound has another AAC profile";
}

}  // namespace

CopyTrack makeCopyTrack(const AVStream& stream) {
    CopyTrack track;
    track.parameters.reset(avcodec_parameters_alloc());
    avcodec_parameters_copy(track.parameters, stream.codecpar);
    // A container's own, which others do not know.
    track.parameters->codec_tag = 0;
    track.timeBase = stream.time_base;
    track.pixelAspect = stream.sample_aspect_ratio;
    track.disposition = stream.disposition;
    const uint8_t* matrix = displayMatrix(stream);
    if (matrix != nullptr) track.displayMatrix.assign(matrix, matrix + kDisplayMatrixSize);
    return track;
}

std::string refusalOf(const CopyTrack& track) {
    const bool isPicture = track.parameters->codec_type == AVMEDIA_TYPE_VIDEO;
    const AVCodecID wanted = isPicture ? AV_CODEC_ID_H264 : AV_CODEC_ID_AAC;
    if (track.parameters->codec_id != wanted) {
        return isNot(track, avcodec_get_name(track.parameters->codec_id),
                     isPicture ? "AVC" : "AAC");
    }
    const bool lacksSets = isPicture && parameterSetsOf(*track.parameters).empty();
    return lacksSets ? "the picture has no parameter sets" : "";
}

std::string differenceOf(const CopyTrack& other, const CopyTrack& first, CopyKind kind) {
    const std::string name = kind == kCopyPictures ? "picture" : "sound";
    if (!other.isThere() && first.isThere()) return "there is no " + name;
    if (other.isThere() && !first.isThere()) return "there is a " + name;
    if (!other.isThere()) return "";
    if (isOfOtherForm(*other.parameters, *first.parameters)) {
        return "it is another kind of container";
    }
    return kind == kCopyPictures ? pictureDifference(other, first) : soundDifference(other, first);
}

}  // namespace android
