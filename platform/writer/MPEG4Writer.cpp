// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "MPEG4Writer"

#include <media/stagefright/MPEG4Writer.h>
#include <media/stagefright/MediaErrors.h>
#include <stdio.h>
#include <stdlib.h>

#include "writer/ContainerWriter.h"
#include "writer/Mp4Muxer.h"

namespace android {

MPEG4Writer::MPEG4Writer(int fd) : mTimeScale(Mp4Muxer::kMovieTimeScale), mMuxer(new Mp4Muxer) {
    mWriter = std::make_unique<ContainerWriter>(std::make_unique<WriterOutput>(fd),
                                                std::unique_ptr<ContainerMuxer>(mMuxer),
                                                "MPEG4Writer");
}

MPEG4Writer::~MPEG4Writer() = default;

status_t MPEG4Writer::addSource(const sp<MediaSource>& source) {
    return mWriter->addSource(source);
}

status_t MPEG4Writer::start(MetaData* params) {
    if (mWriter->isWriting()) return OK;
    if (!mWriter->hasTracks()) return INVALID_OPERATION;
    int32_t timeScale = 0;
    if (params != nullptr && params->findInt32(kKeyTimeScale, &timeScale) && timeScale > 0 &&
        !mWriter->isStarted()) {
        mTimeScale = timeScale;
        mMuxer->setTimeScale(timeScale);
    }
    return mWriter->start(params);
}

status_t MPEG4Writer::stop() {
    mWriter->stop();
    return OK;
}

status_t MPEG4Writer::pause() {
    return ERROR_UNSUPPORTED;
}

bool MPEG4Writer::reachedEOS() {
    return mWriter->reachedEnd();
}

status_t MPEG4Writer::setInterleaveDuration(uint32_t durationUs) {
    if (mWriter->isStarted()) return INVALID_OPERATION;
    mMuxer->setPieceDurationUs(durationUs);
    return OK;
}

status_t MPEG4Writer::setGeoData(int latitudex10000, int longitudex10000) {
    constexpr int kUnit = 10000;
    if (abs(latitudex10000) > 90 * kUnit || abs(longitudex10000) > 180 * kUnit) return BAD_VALUE;
    if (mWriter->isStarted()) return INVALID_OPERATION;
    char location[32];
    snprintf(location, sizeof(location), "%+08.4f%+09.4f/", latitudex10000 / double{kUnit},
             longitudex10000 / double{kUnit});
    mMuxer->setLocation(location);
    return OK;
}

int32_t MPEG4Writer::getTimeScale() const {
    return mTimeScale;
}

}  // namespace android
