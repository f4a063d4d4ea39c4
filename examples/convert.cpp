// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// Turns a film into an MP4 with a job: shows how far it is, and Ctrl-C keeps what is done.

#include <oxa/jobs/Transcode.h>
#include <signal.h>

#include <cstdio>
#include <memory>
#include <thread>

class Screen : public oxa::jobs::JobListener {
    void onProgress(const oxa::jobs::Progress& progress) override {
        fprintf(stderr, "\r%3.0f %%", progress.percent.value_or(0));
    }
    void onWarning(const std::string& text) override { fprintf(stderr, "\n%s\n", text.c_str()); }
};

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: %s INPUT OUTPUT.mp4\n", argv[0]);
        return 2;
    }
    sigset_t signals;  // blocked in all threads, so that the one below gets it
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    Screen screen;
    oxa::jobs::TranscodeOptions options;
    options.input = argv[1];
    options.output = argv[2];
    const auto job = std::make_shared<oxa::jobs::Transcode>(options, &screen);
    std::thread([job, signals] {
        int number = 0;
        sigwait(&signals, &number);
        job->cancel();
    }).detach();
    const oxa::jobs::Result result = job->run();
    for (const std::string& file : result.files)
        printf("\n%s: %.1f s\n", file.c_str(), result.durationSec);
    if (!result.ok()) fprintf(stderr, "%s\n", result.failure.text.c_str());
    return result.ok() ? 0 : 1;
}
