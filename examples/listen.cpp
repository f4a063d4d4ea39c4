// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// Hears what the player and the platform tell while a file is decoded as fast as it goes.

#include <OxaMediaCodecPlayer.h>
#include <oxa/host/Display.h>
#include <oxa/host/FaultListener.h>
#include <oxa/host/SoundOutput.h>

#include <atomic>
#include <cstdio>
#include <future>

#include "Tracks.h"

using namespace android;

// Gets the reports on a looper of its own, so it may call the player. The future is true when the
// file was played to its end.
class Reports : public AHandler {
  public:
    std::future<bool> ended() { return mEnded.get_future(); }

    void end(bool complete) {
        if (!mHasEnded.exchange(true)) mEnded.set_value(complete);
    }

    void onMessageReceived(const sp<AMessage>& report) override {
        double framesPerSecond = 0;
        if (report->what() == kWhatPlayerEOS) {
            end(true);
        } else if (report->what() == kWhatInstantFPS &&
                   report->findDouble("instant-fps", &framesPerSecond)) {
            printf("%.1f pictures a second\n", framesPerSecond);
        }
    }

  private:
    std::atomic<bool> mHasEnded{false};
    std::promise<bool> mEnded;
};

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
    sp<Reports> reports = new Reports;
    std::future<bool> ended = reports->ended();
    sp<ALooper> looper = new ALooper;
    looper->setName("Reports");
    looper->start();
    looper->registerHandler(reports);
    const int listener = oxa::host::addFaultListener([reports](const oxa::host::Fault& fault) {
        printf("%s of %s: %s\n", fault.ended ? "end" : "warning", fault.object.c_str(),
               fault.cause.c_str());
        if (fault.ended) reports->end(false);
    });
    oxa::host::useNullSound();
    const auto display = oxa::host::createNullDisplay();

    sp<OxaMediaCodecPlayer> player = new OxaMediaCodecPlayer(/* createLooper */ true, tracks);
    player->mStatusHandler = reports;  // before initiate()
    player->initiate(SourceTypeFile, /* playback */ true, /* transcode */ false);
    bool complete = false;
    if (player->setDataSource(argv[1]) == OK && player->setSurface(display->producer()) == OK &&
        player->setFreeRun(true) == OK && player->setCalculateFPS(1) == OK &&
        player->prepare() == OK && player->start() == OK) {
        complete = ended.get();
        _PLAYBACK_PROGRESS progress = {};
        player->getPlaybackProgress(&progress);
        printf("%s after %lld pictures\n", complete ? "the end" : "given up",
               static_cast<long long>(progress.shownFrames));
    }
    player->stop();
    player->cleanup();
    oxa::host::removeFaultListener(listener);
    looper->unregisterHandler(reports->id());
    looper->stop();
    return complete ? 0 : 1;
}
