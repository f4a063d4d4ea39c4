// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/AMessage.h>

#include <string>
#include <vector>

#include "codec/TrackParameters.h"
#include "platform/codec/AudioComponentDriver.h"
#include "support/MediaReader.h"

namespace android {

// The packets of a file's first sound stream, and the track format that an extractor gives.
struct AudioPackets {
    explicit AudioPackets(const std::string& path);

    sp<AMessage> format() const;
    // Queues packets [from, to) with their properties; false when the component stopped taking.
    bool feed(AudioComponentDriver* driver, size_t from = 0, size_t to = SIZE_MAX) const;
    // Starts the driver's decoder, queues all and waits for the end; false when a step fails.
    bool decode(AudioComponentDriver* driver) const;
    int64_t timeUs(const AVPacket& packet) const;

    sp<TrackParameters> track;  // null if there is no such stream
    std::vector<oxa::test::PacketPtr> packets;
};

}  // namespace android
