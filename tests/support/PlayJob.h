// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gui/IGraphicBufferProducer.h>
#include <media/stagefright/NuMediaExtractor.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "support/CodecClient.h"

namespace oxa::test {

struct PlayJobOptions {
    std::string path;
    // Where pictures go; null: they come as bytes.
    android::sp<android::IGraphicBufferProducer> producer;
    int32_t hwSync = 0;  // of the session, for tunneled playback; 0: not tunneled
    // May change the track's format before the decoder gets it, or refuse it.
    std::function<android::status_t(const android::sp<android::AMessage>& format)> onFormat;
    // Called with each sample's number and bytes before it is queued; may change them.
    std::function<void(int number, uint8_t* data, size_t size)> onSample;
    // Called with all callbacks but inputs instead of rendering.
    std::function<void(const CodecEvent& event)> onEvent;
};

// Decodes the picture of a file as a player does.
class PlayJob {
  public:
    explicit PlayJob(PlayJobOptions options);
    ~PlayJob();

    bool start();
    // For the end's output, or for an error of the codec.
    bool waitForEnd();
    // From the file's beginning, when the end has come; false when the codec does not go on.
    bool startAgain();
    void stop();
    // All of the above; false when something failed.
    bool run();

    // Counts anything but OK as a failure.
    void expect(android::status_t err);
    CodecClient& decoder() { return *mDecoder; }

  private:
    // OK, or the first error.
    android::status_t prepare();
    void onEvent(const CodecEvent& event);
    void feed(size_t index);

    PlayJobOptions mOptions;
    android::sp<android::NuMediaExtractor> mExtractor;
    std::atomic<bool> mRunning{false};
    std::atomic<bool> mFailed{false};
    // Callback thread.
    int mSampleCount = 0;
    bool mInputEnded = false;
    // Last: its callback thread uses all of the above.
    std::unique_ptr<CodecClient> mDecoder;
};

}  // namespace oxa::test
