// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "OxaMediaMuxer"

#include "OxaMediaMuxer.h"

#include <log/log.h>
#include <media/stagefright/MPEG2TSWriter.h>
#include <media/stagefright/MPEG4Writer.h>
#include <media/stagefright/MediaBuffer.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/Utils.h>
#include <utils/Timers.h>

namespace android {

namespace {

// Gives the writer's threads time to run before samples come.
constexpr nsecs_t kStartPauseNs = 50000000;
constexpr nsecs_t kStartTestNs = 500000000;

}  // namespace

OxaMediaMuxer::OxaMediaMuxer(int fd, OutputFormat format) : mFormat(format) {
    // A file that could not be opened arrives here as a negative descriptor.
    if (fd < 0) return;
    if (format == OUTPUT_FORMAT_MPEG2TS) {
        mWriter = new MPEG2TSWriter(fd);
    } else if (format == OUTPUT_FORMAT_MPEG_4) {
        mWriter = new MPEG4Writer(fd);
    }
    if (mWriter != NULL) {
        mFileMeta = new MetaData;
        mState = INITIALIZED;
    }
}

OxaMediaMuxer::OxaMediaMuxer(FILE* /* file */, OutputFormat format) : mFormat(format) {}

OxaMediaMuxer::OxaMediaMuxer(sp<IMemory> /* data */, sp<IMemory> /* info */, bool /* rtp */,
                             OutputFormat format)
    : mFormat(format) {}

OxaMediaMuxer::OxaMediaMuxer(sp<IMemory> /* data */, sp<IMemory> /* info */, bool /* rtp */,
                             int /* port */, const char* /* ip */, OutputFormat format)
    : mFormat(format) {}

OxaMediaMuxer::OxaMediaMuxer(int /* port */, const char* /* ip */, bool /* rtp */,
                             OutputFormat format)
    : mFormat(format) {}

OxaMediaMuxer::~OxaMediaMuxer() {
    Mutex::Autolock lock(mMuxerLock);
    mFileMeta.clear();
    mWriter.clear();
    mTrackList.clear();
}

ssize_t OxaMediaMuxer::addTrack(const sp<AMessage>& format) {
    Mutex::Autolock lock(mMuxerLock);
    if (format == NULL) {
        ALOGE("addTrack() get a null format");
        return BAD_VALUE;
    }
    if (mState != INITIALIZED) {
        ALOGE("addTrack() must be called after constructor and before start().");
        return INVALID_OPERATION;
    }
    sp<MetaData> trackMeta = new MetaData;
    convertMessageToMetaData(format, trackMeta);
    sp<MediaAdapter> track = new MediaAdapter(trackMeta);
    if (mWriter->addSource(track) != OK) return -1;
    return mTrackList.add(track);
}

status_t OxaMediaMuxer::setOrientationHint(int degrees) {
    Mutex::Autolock lock(mMuxerLock);
    if (mState != INITIALIZED) {
        ALOGE("setOrientationHint() must be called before start().");
        return INVALID_OPERATION;
    }
    if (degrees != 0 && degrees != 90 && degrees != 180 && degrees != 270) {
        ALOGE("setOrientationHint() get invalid degrees");
        return BAD_VALUE;
    }
    mFileMeta->setInt32(kKeyRotation, degrees);
    return OK;
}

status_t OxaMediaMuxer::setLocation(int latitude, int longitude) {
    Mutex::Autolock lock(mMuxerLock);
    if (mState != INITIALIZED) {
        ALOGE("setLocation() must be called before start().");
        return INVALID_OPERATION;
    }
    if (mFormat != OUTPUT_FORMAT_MPEG_4) {
        ALOGE("setLocation() is only supported for .mp4 output.");
        return INVALID_OPERATION;
    }
    return static_cast<MPEG4Writer*>(mWriter.get())->setGeoData(latitude, longitude);
}

status_t OxaMediaMuxer::start() {
    Mutex::Autolock lock(mMuxerLock);
    if (mState != INITIALIZED) {
        ALOGE("start() is called in invalid state %d", mState.load());
        return INVALID_OPERATION;
    }
    mState = STARTED;
    mFileMeta->setInt32(kKeyRealTimeRecording, 0);
    if (mWriter->start(mFileMeta.get()) == OK) {
        Mutex::Autolock gate(mStartMutex);
        mStarted = true;
        // By design the pause waits with the muxer's lock, not the gate's: nobody passes the gate
        // before the broadcast, while adding and writing see the state STARTED already.
        mStartCond.waitRelative(mMuxerLock, kStartPauseNs);
        mStartCond.broadcast();
    }
    return OK;
}

status_t OxaMediaMuxer::stop() {
    Mutex::Autolock lock(mMuxerLock);
    if (mState != STARTED) {
        ALOGE("stop() is called in invalid state %d", mState.load());
        return INVALID_OPERATION;
    }
    mState = STOPPED;
    for (size_t i = 0; i < mTrackList.size(); ++i) {
        if (mTrackList[i]->stop() != OK) return INVALID_OPERATION;
    }
    return mWriter->stop();
}

status_t OxaMediaMuxer::writeSampleData(const sp<ABuffer>& buffer, size_t trackIndex,
                                        int64_t timeUs, uint32_t flags) {
    Mutex::Autolock lock(mMuxerLock);
    if (buffer == NULL) {
        ALOGE("WriteSampleData() get an NULL buffer.");
        return BAD_VALUE;
    }
    if (mState != STARTED) {
        ALOGE("WriteSampleData() is called in invalid state %d", mState.load());
        return INVALID_OPERATION;
    }
    if (trackIndex >= mTrackList.size()) {
        ALOGE("WriteSampleData() get an invalid index %zu", trackIndex);
        return BAD_VALUE;
    }
    // The buffer starts at the ABuffer's offset already, so its own range is the whole of it. The
    // adapter takes over the reference and gives it up when the writer has returned the buffer.
    MediaBuffer* mediaBuffer = new MediaBuffer(buffer);
    mediaBuffer->add_ref();
    MetaDataBase& sampleMeta = mediaBuffer->meta_data();
    sampleMeta.setInt64(kKeyTime, timeUs);
    sampleMeta.setInt64(kKeyDecodingTime, timeUs);
    if (flags & MediaCodec::BUFFER_FLAG_SYNCFRAME) sampleMeta.setInt32(kKeyIsSyncFrame, 1);
    if (flags & MediaCodec::BUFFER_FLAG_MUXER_DATA) sampleMeta.setInt32(kKeyIsMuxerData, 1);
    return mTrackList[trackIndex]->pushBuffer(mediaBuffer);
}

void OxaMediaMuxer::waitForStart() {
    Mutex::Autolock gate(mStartMutex);
    mStartCond.wait(mStartMutex);
}

void OxaMediaMuxer::waitUntilStarted() {
    Mutex::Autolock gate(mStartMutex);
    while (!mStarted)
        mStartCond.waitRelative(mStartMutex, kStartTestNs);
}

bool OxaMediaMuxer::announceAndWaitForStart(const sp<AMessage>& announcement) {
    Mutex::Autolock gate(mStartMutex);
    announcement->post();
    while (!mStarted && !mGateOpened)
        mStartCond.wait(mStartMutex);
    return mStarted;
}

void OxaMediaMuxer::openGate() {
    Mutex::Autolock gate(mStartMutex);
    mGateOpened = true;
    mStartCond.broadcast();
}

bool OxaMediaMuxer::isWriting() {
    Mutex::Autolock gate(mStartMutex);
    return mStarted && mState == STARTED;
}

}  // namespace android
