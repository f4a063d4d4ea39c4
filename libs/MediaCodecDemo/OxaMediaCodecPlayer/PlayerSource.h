// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>

#include "OxaMediaCodecPlayer.h"

namespace android {

// The player's steps stand in several sources; their assertions name the player's own.
extern const char kPlayerSourceFile[];
#define CHECK_PLAYER(condition)                                                               \
    LOG_ALWAYS_FATAL_IF(!(condition), "%s:%d CHECK(%s) failed.", kPlayerSourceFile, __LINE__, \
                        #condition)

// What the player's steps do for one kind of source: which pipelines there are, and in which order
// they are told. This base is a source without pipelines. All steps run on the player's looper, but
// release(), which runs on the thread of cleanup().
class OxaMediaCodecPlayer::Source {
  public:
    static std::unique_ptr<Source> createPlayback(OxaMediaCodecPlayer& player);
    static std::unique_ptr<Source> createTranscode(OxaMediaCodecPlayer& player);
    static std::unique_ptr<Source> createUsb(OxaMediaCodecPlayer& player);
    static std::unique_ptr<Source> createHdmiRx(OxaMediaCodecPlayer& player);

    explicit Source(OxaMediaCodecPlayer& player) : mPlayer(player) {}
    virtual ~Source() = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    // For the log; null for a source that nothing is written of.
    virtual const char* name() const { return NULL; }
    virtual bool isLive() const { return false; }
    // Where the player goes when it knows the file, or the surface.
    virtual State stateWithFile() const { return INITIALIZED; }
    virtual State stateWithSurface() const { return WAIT_SURFACE; }

    virtual void createPipelines() {}
    // Any state; takes all pipelines down.
    virtual void release() {}

    virtual void setFile() {}
    virtual void setCamera(bool /* shared */) {}
    virtual void setAudioSource() {}
    virtual void setSurface() {}
    virtual void setMuxer() {}
    virtual void setStreamOutput() {}
    virtual void setTargetFormat() {}
    virtual void setPlayback(bool /* video */, bool /* audio */) {}
    virtual void setRecord(bool /* enable */) {}
    virtual void setFreeRun(bool /* enable */) {}
    virtual void setCalculateFPS(double /* seconds */) {}
    virtual void syncVideoTime() {}
    virtual void prepare() {}
    virtual void start() {}
    virtual void stop() {}

  protected:
    bool handlesVideo() const { return mPlayer.handlesVideo(); }
    bool handlesAudio() const { return mPlayer.handlesAudio(); }

    // For the log.
    const char* streams() const {
        if (!handlesVideo()) return "audio";
        return handlesAudio() ? "video&audio" : "video";
    }

    template <typename Pipeline>
    void createPipeline(sp<Pipeline>* pipeline, sp<ALooper>* looper, const char* looperName) {
        *pipeline = new Pipeline;
        *looper = new ALooper;
        (*looper)->setName(looperName);
        // Set before the pipeline's thread, or a service's, can look at them.
        (*pipeline)->mPlayerHandler = &mPlayer;
        (*pipeline)->mStatusHandler = mPlayer.mStatusHandler;
        (*looper)->registerHandler(*pipeline);
        (*looper)->start();
    }

    template <typename Pipeline>
    void releasePipeline(sp<Pipeline>* pipeline, sp<ALooper>* looper, int64_t pauseUs = 0) {
        if (*pipeline == NULL) return;
        CHECK_PLAYER((*pipeline)->reset() == OK);
        if (pauseUs > 0) mPlayer.waitTime(pauseUs);
        (*looper)->unregisterHandler((*pipeline)->id());
        (*looper)->stop();
        looper->clear();
        (*pipeline)->cleanup();
        pipeline->clear();
    }

    // The player's file, by path or by descriptor.
    template <typename Pipeline>
    status_t setDataSource(const sp<Pipeline>& pipeline) {
        return mPlayer.mFileSourceType == 0
                       ? pipeline->setDataSource(mPlayer.mInputFile.c_str())
                       : pipeline->setDataSource(mPlayer.mFileId, mPlayer.mFileOffset,
                                                 mPlayer.mFileLength);
    }

    OxaMediaCodecPlayer& mPlayer;
};

}  // namespace android
