// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// Records a camera and a microphone into an MP4. Both are simulated here; without the two
// registrations they are the first camera and the default microphone of the machine.

#include <OxaMediaCodecPlayer.h>
#include <oxa/host/Cameras.h>
#include <oxa/host/Display.h>
#include <oxa/host/FaultListener.h>
#include <oxa/host/Microphones.h>
#include <oxa/host/SoundOutput.h>
#include <system/audio.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

using namespace android;

int main(int argc, char** argv) {
    const double seconds = argc == 3 ? atof(argv[2]) : 0;
    if (seconds <= 0) {
        fprintf(stderr, "usage: %s OUTPUT.mp4 SECONDS\n", argv[0]);
        return 2;
    }
    oxa::host::registerCamera(0, "lavfi:testsrc2=size=640x360:rate=30");
    oxa::host::registerMicrophone(AUDIO_SOURCE_DEFAULT, "lavfi:sine=frequency=440");
    oxa::host::useNullSound();  // the microphone is recorded, not heard
    const auto preview = oxa::host::createNullDisplay();

    std::atomic<bool> failed{false};  // a camera that was pulled out, a full disk
    const int listener = oxa::host::addFaultListener([&failed](const oxa::host::Fault& fault) {
        fprintf(stderr, "%s: %s\n", fault.object.c_str(), fault.cause.c_str());
        if (fault.ended) failed = true;
    });

    sp<OxaMediaCodecPlayer> player =
            new OxaMediaCodecPlayer(/* createLooper */ true, /* onlyTrack: both */ 0);
    player->initiate(SourceTypeUsbCamera, /* playback */ true, /* transcode */ true);
    player->setCameraSource(0, String16("example"));
    player->setAudioSource(AUDIO_SOURCE_DEFAULT);
    status_t status = player->setSurface(preview->producer());
    _OxaTranscodeConfig output = {};  // type 0: a file that is named
    output.fmt = 1;                   // MP4
    output.fileDesc = -1;
    output.fileName = argv[1];
    if (status == OK) status = player->setMuxer(output);
    if (status == OK) {
        _AV_FORMAT_FORMAT target = {};
        target.width = 640;
        target.height = 360;
        target.frameRate = 30;
        target.bitRate = 1'000'000;
        target.iFrameInterval = 2;
        target.channelCount = 2;
        target.sampleRate = 48000;
        player->setTargetFormat(target);
        player->prepare();
        player->start();  // the preview runs from here on
        player->setTranscode(true);
        _RECORDING_PROGRESS progress = {};
        while (!failed && progress.videoTimeUs < seconds * 1e6) {
            player->waitTime(20'000);
            player->getRecordingProgress(&progress);
        }
    }
    player->stop();  // ends the recording, the file is whole then
    player->cleanup();
    oxa::host::removeFaultListener(listener);

    if (status != OK) fprintf(stderr, "cannot write %s (%d)\n", argv[1], status);
    return status == OK && !failed ? 0 : 1;
}
