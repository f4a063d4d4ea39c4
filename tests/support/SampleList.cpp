// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/SampleList.h"

#include <set>
#include <string_view>

#include "support/MediaReader.h"

namespace oxa::test {

namespace {

constexpr size_t kAdtsHeader = 7;
const std::set<int> kContainersUnits = {6 /* the encoder's words */, 7, 8, 9};

const std::string kStartCode("\0\0\1", 3);

std::string withStartCodes(std::string_view data) {
    std::string coded;
    while (data.size() > 4) {
        size_t length = 0;
        for (int i = 0; i < 4; ++i)
            length = length << 8 | static_cast<uint8_t>(data[i]);
        coded.append(kStartCode).append(data.substr(4, length));
        data.remove_prefix(std::min(data.size(), 4 + length));
    }
    return coded;
}

std::vector<std::string> unitsOf(const std::string& coded) {
    std::vector<std::string> units;
    for (size_t begin = coded.find(kStartCode); begin != std::string::npos;) {
        const size_t next = coded.find(kStartCode, begin + 3);
        std::string unit = coded.substr(begin + 3, next - begin - 3);
        unit.resize(unit.find_last_not_of('\0') + 1);
        units.push_back(unit);
        begin = next;
    }
    return units;
}

std::string withoutContainer(std::string_view data, const AVCodecParameters& parameters) {
    if (parameters.codec_type == AVMEDIA_TYPE_AUDIO) {
        const bool hasHeader = parameters.extradata_size == 0 && data.size() > kAdtsHeader;
        return std::string(data.substr(hasHeader ? kAdtsHeader : 0));
    }
    const bool hasLengths = parameters.extradata_size > 0 && parameters.extradata[0] == 1;
    std::string plain;
    for (const std::string& unit : unitsOf(hasLengths ? withStartCodes(data) : std::string(data))) {
        if (unit.empty() || kContainersUnits.count(unit[0] & 0x1F) > 0) continue;
        plain += std::to_string(unit.size()) + ":";
        plain += unit;
    }
    return plain;
}

std::vector<StoredSample> samplesOf(const std::string& path, AVMediaType kind) {
    MediaReader reader(path);
    const int index = reader.findStream(kind);
    std::vector<StoredSample> samples;
    reader.readPackets([&](const AVPacket& packet) {
        if (packet.stream_index != index) return;
        const AVStream& stream = *reader.format()->streams[index];
        const auto toUs = [&](int64_t time) {
            return av_rescale_q(time, stream.time_base, av_get_time_base_q());
        };
        const auto* const data = reinterpret_cast<const char*>(packet.data);
        const std::string_view bytes(data, packet.size);
        samples.push_back({toUs(packet.pts), toUs(packet.dts),
                           (packet.flags & AV_PKT_FLAG_KEY) != 0,
                           withoutContainer(bytes, *stream.codecpar)});
    });
    return samples;
}

}  // namespace

std::vector<StoredSample> pictureSamples(const std::string& path) {
    return samplesOf(path, AVMEDIA_TYPE_VIDEO);
}

std::vector<StoredSample> soundSamples(const std::string& path) {
    return samplesOf(path, AVMEDIA_TYPE_AUDIO);
}

}  // namespace oxa::test
