// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayer.h>
#include <datasource/FileSource.h>
#include <media/stagefright/NuMediaExtractor.h>

// What a player is told of the tracks of a file: both, only one of them, or -1 when there is
// nothing that it could open. A player that is prepared for a file without tracks ends the process.
inline int tracksOf(const char* path) {
    using namespace android;
    const sp<NuMediaExtractor> extractor =
            new NuMediaExtractor(NuMediaExtractor::EntryPoint::OTHER);
    if (extractor->setDataSource(new FileSource(path)) != OK) return -1;
    bool hasVideo = false;
    bool hasAudio = false;
    for (size_t index = 0; index < extractor->countTracks(); ++index) {
        sp<AMessage> format;
        AString mime;
        if (extractor->getTrackFormat(index, &format) != OK) continue;
        format->findString("mime", &mime);
        (mime.startsWith("video/") ? hasVideo : hasAudio) = true;
    }
    if (hasVideo && hasAudio) return 0;
    if (hasVideo) return CODEC_VIDEO_ONLY;
    return hasAudio ? CODEC_AUDIO_ONLY : -1;
}
