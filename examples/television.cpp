// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// Records the simulated television while things happen to it: what a recording program of one's own
// does, and the frame around it in which it can be tried without a television.

#include <OxaMediaCodecPlayer.h>
#include <oxa/host/Display.h>
#include <oxa/host/FaultListener.h>
#include <oxa/host/HdmiReceiver.h>
#include <oxa/host/SoundOutput.h>
#include <oxa/jobs/ScenarioPlayer.h>
#include <stdlib.h>
#include <system/audio.h>

#include <atomic>
#include <cstdio>
#include <filesystem>

using namespace android;

// One recording, with what such a program calls on a television, too. False when the signal was
// lost before its end.
bool record(const char* output, double seconds, const std::atomic<bool>& lost) {
    const auto preview = oxa::host::createNullDisplay();
    sp<OxaMediaCodecPlayer> player =
            new OxaMediaCodecPlayer(/* createLooper */ true, /* onlyTrack: both */ 0);
    player->initiate(SourceTypeHdmiRx, /* playback */ true, /* transcode */ true);
    player->setCameraSource(0, String16("example"));
    player->setAudioSource(AUDIO_SOURCE_DEFAULT);
    player->setSurface(preview->producer());
    _OxaTranscodeConfig config = {};  // type 0: a file that is named
    config.fmt = 1;                   // MP4
    config.fileDesc = -1;
    config.fileName = output;
    const bool opened = player->setMuxer(config) == OK;
    if (opened) {
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
        player->start();
        player->setTranscode(true);
        _RECORDING_PROGRESS progress = {};
        while (!lost && progress.videoTimeUs < seconds * 1e6) {
            player->waitTime(20'000);
            player->getRecordingProgress(&progress);
        }
    }
    player->stop();
    player->cleanup();
    return opened && !lost;
}

int main(int argc, char** argv) {
    const double seconds = argc == 4 ? atof(argv[3]) : 0;
    if (seconds <= 0) {
        fprintf(stderr, "usage: %s FILE.scenario OUTPUT.mp4 SECONDS\n", argv[0]);
        return 2;
    }
    oxa::jobs::Scenario scenario;
    if (const auto failure = oxa::jobs::readScenario(argv[1], &scenario)) {
        fprintf(stderr, "%s\n", failure->text.c_str());
        return 1;
    }
    // The television: its driver's files are below a folder of our own.
    char root[] = "/tmp/television-XXXXXX";
    std::string error = "cannot make a folder";
    oxa::host::HdmiReceiverOptions options;
    options.width = 640;
    options.height = 360;
    options.frameRate = 30;
    if (mkdtemp(root) != nullptr) options.deviceRoot = root;
    auto receiver = options.deviceRoot.empty()
                            ? nullptr
                            : oxa::host::SimulatedHdmiReceiver::create(options, &error);
    if (receiver == nullptr) {
        fprintf(stderr, "there is no television: %s\n", error.c_str());
        return 1;
    }
    setDeviceRoot(root);
    oxa::host::useNullSound();
    std::atomic<bool> lost{false};
    const int listener = oxa::host::addFaultListener([&lost](const oxa::host::Fault& fault) {
        printf("%s: %s\n", fault.object.c_str(), fault.cause.c_str());
        if (fault.ended) lost = true;
    });
    bool complete = false;
    {
        oxa::jobs::ScenarioPlayer events(scenario, [](const oxa::jobs::ScenarioStep& step) {
            printf("%.1f s: %s\n", step.timeUs / 1e6, oxa::jobs::scenarioText(step).c_str());
        });
        events.begin(*receiver);
        complete = record(argv[2], seconds, lost);
    }
    oxa::host::removeFaultListener(listener);
    receiver.reset();
    std::filesystem::remove_all(root);
    printf("%s\n", complete ? "recorded to its end" : "ended early, what there is can be played");
    return complete ? 0 : 1;
}
