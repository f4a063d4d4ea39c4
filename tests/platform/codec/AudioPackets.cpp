// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/codec/AudioPackets.h"

#include <algorithm>

namespace android {

AudioPackets::AudioPackets(const std::string& path) {
    oxa::test::MediaReader reader(path);
    const int stream = reader.findStream(AVMEDIA_TYPE_AUDIO);
    if (stream < 0) return;
    const AVStream* input = reader.format()->streams[stream];
    reader.readPackets([&](const AVPacket& packet) {
        if (packet.stream_index == stream) packets.emplace_back(av_packet_clone(&packet));
    });
    track = new TrackParameters(*input->codecpar, input->time_base, -reader.toUs(stream, 0));
}

sp<AMessage> AudioPackets::format() const {
    sp<AMessage> format = new AMessage;
    format->setString("mime", "audio/x-any");
    format->setObject(kFormatKeyTrackParameters, track);
    return format;
}

bool AudioPackets::feed(AudioComponentDriver* driver, size_t from, size_t to) const {
    for (size_t i = from; i < std::min(to, packets.size()); ++i) {
        const AVPacket& packet = *packets[i];
        track->pushSample(packet, timeUs(packet));
        if (!driver->queue(packet.data, packet.size, timeUs(packet))) return false;
    }
    return true;
}

bool AudioPackets::decode(AudioComponentDriver* driver) const {
    return track != nullptr && driver->start(format()) == OK && feed(driver) &&
           driver->queueEnd() && driver->waitForEnd();
}

int64_t AudioPackets::timeUs(const AVPacket& packet) const {
    return track->toUs(packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts);
}

}  // namespace android
