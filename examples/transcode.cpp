// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// Turns the first picture and the first sound of a file into AVC and AAC in an MP4.

#include <OxaMediaCodecPlayer.h>
#include <oxa/host/FaultListener.h>

#include <atomic>
#include <cstdio>

#include "Tracks.h"

using namespace android;

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: %s INPUT OUTPUT.mp4\n", argv[0]);
        return 2;
    }
    const int tracks = tracksOf(argv[1]);
    if (tracks < 0) {
        fprintf(stderr, "%s has nothing that can be decoded\n", argv[1]);
        return 1;
    }
    std::atomic<bool> failed{false};  // a full disk, a codec that gives up
    const int listener = oxa::host::addFaultListener([&failed](const oxa::host::Fault& fault) {
        fprintf(stderr, "%s: %s\n", fault.object.c_str(), fault.cause.c_str());
        if (fault.ended) failed = true;
    });

    sp<OxaMediaCodecPlayer> player = new OxaMediaCodecPlayer(/* createLooper */ true, tracks);
    player->initiate(SourceTypeFile, /* playback */ false, /* transcode */ true);
    status_t status = player->setDataSource(argv[1]);
    _OxaTranscodeConfig output = {};  // type 0: a file that is named
    output.fmt = 1;                   // MP4
    output.fileDesc = -1;
    output.fileName = argv[2];
    if (status == OK) status = player->setMuxer(output);
    _AV_FORMAT_FORMAT target = {};
    target.width = 640;
    target.height = 360;
    target.bitRate = 1'000'000;
    target.iFrameInterval = 2;
    target.channelCount = 2;
    target.sampleRate = 48000;
    if (status == OK) status = player->setTargetFormat(target);
    if (status == OK) status = player->prepare();
    if (status == OK) status = player->start();
    while (status == OK && !player->EOSReached() && !failed)
        player->waitTime(20'000);
    // All is read; what is still on its way would be lost by stop().
    if (status == OK && !failed) status = player->drain(30'000'000);
    player->stop();
    player->cleanup();
    oxa::host::removeFaultListener(listener);

    if (status != OK) fprintf(stderr, "cannot transcode %s (%d)\n", argv[1], status);
    return status == OK && !failed ? 0 : 1;
}
