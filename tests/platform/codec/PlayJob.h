// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gui/IGraphicBufferProducer.h>
#include <media/stagefright/NuMediaExtractor.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/codec/CodecClient.h"

namespace oxa::test {

struct PlayJobOptions {
    std::string path;
    android::sp<android::IGraphicBufferProducer> producer;
    bool tunneled = false;
    int32_t hwSync = 0;  // of the session, for tunneled playback
    // May change the track's format before the decoder gets it.
    std::function<void(const android::sp<android::AMessage>& format)> onFormat;
};

// Decodes the picture of a file onto a display: each picture is rendered as soon as it is offered,
// or the decoder renders by itself.
class PlayJob {
  public:
    explicit PlayJob(PlayJobOptions options);
    ~PlayJob();

    bool start();
    // For the end's output, or for an error of the codec.
    bool waitForEnd();
    void stop();
    // All of the above; false when something failed.
    bool run();

    // Of the outputs that were rendered.
    const std::vector<int64_t>& renderedTimesUs() const { return mRenderedTimesUs; }
    bool failed() const { return mFailed; }
    CodecClient& decoder() { return *mDecoder; }

  private:
    void onEvent(const CodecEvent& event);
    void feed(size_t index);
    void expect(android::status_t err);

    const PlayJobOptions mOptions;
    android::sp<android::NuMediaExtractor> mExtractor;
    std::atomic<bool> mRunning{false};
    std::atomic<bool> mFailed{false};
    // Callback thread.
    bool mInputEnded = false;
    std::vector<int64_t> mRenderedTimesUs;
    // Last: its callback thread uses all of the above.
    std::unique_ptr<CodecClient> mDecoder;
};

}  // namespace oxa::test
