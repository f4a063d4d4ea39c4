// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// The smallest client: plays a file in a window.

#include <OxaMediaCodecPlayer.h>
#include <oxa/host/Display.h>
#include <oxa/host/FaultListener.h>
#include <oxa/host/SoundOutput.h>

#include <atomic>
#include <cstdio>

#include "Tracks.h"

using android::OK;
using android::status_t;

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    const int tracks = tracksOf(argv[1]);
    if (tracks < 0) {
        fprintf(stderr, "%s has nothing that can be played\n", argv[1]);
        return 1;
    }

    std::atomic<bool> closed{false};
    oxa::host::WindowOptions options;
    options.title = argv[1];
    options.onEvent = [&closed](oxa::host::DisplayEvent) { closed = true; };
    std::string error;
    auto display = oxa::host::createWindowDisplay(options, &error);
    if (display == nullptr) {
        fprintf(stderr, "pictures are not shown: %s\n", error.c_str());
        display = oxa::host::createNullDisplay();
    }
    error = oxa::host::soundDeviceError();
    if (!error.empty()) {
        fprintf(stderr, "sound is not heard: %s\n", error.c_str());
        oxa::host::useNullSound();
    }

    // What goes wrong while the player runs comes here, on the thread where it happened.
    std::atomic<bool> failed{false};
    const int listener = oxa::host::addFaultListener([&failed](const oxa::host::Fault& fault) {
        fprintf(stderr, "%s: %s\n", fault.object.c_str(), fault.cause.c_str());
        if (fault.ended) failed = true;
    });

    android::sp<android::OxaMediaCodecPlayer> player =
            new android::OxaMediaCodecPlayer(/* createLooper */ true, tracks);
    player->initiate(android::SourceTypeFile, /* playback */ true, /* transcode */ false);
    status_t status = player->setDataSource(argv[1]);
    if (status == OK) status = player->setSurface(display->producer());
    if (status == OK) status = player->prepare();
    if (status == OK) status = player->start();
    while (status == OK && !player->EOSReached() && !closed && !failed)
        player->waitTime(20'000);
    player->stop();
    player->cleanup();
    oxa::host::removeFaultListener(listener);

    if (status != OK) fprintf(stderr, "cannot play %s (%d)\n", argv[1], status);
    return status == OK && !failed ? 0 : 1;
}
