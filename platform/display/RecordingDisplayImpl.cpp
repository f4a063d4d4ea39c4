// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "RecordingDisplay"

#include "display/RecordingDisplayImpl.h"

#include <numeric>
#include <utility>

namespace android {

namespace {

uint64_t hashOf(const PicturePlanes& planes) {
    constexpr uint64_t kOffsetBasis = UINT64_C(0xcbf29ce484222325);
    constexpr uint64_t kPrime = UINT64_C(0x100000001b3);
    if (planes.count == 0) return 0;
    uint64_t hash = kOffsetBasis;
    for (size_t i = 0; i < planes.count; ++i) {
        const PicturePlanes::Plane& plane = planes.planes[i];
        for (int32_t row = 0; row < plane.rows; ++row) {
            const uint8_t* samples = plane.data + row * plane.stride;
            for (size_t k = 0; k < plane.rowBytes; ++k)
                hash = (hash ^ samples[k]) * kPrime;
        }
    }
    return hash;
}

oxa::host::PictureGrid gridOf(const PicturePlanes& planes) {
    constexpr size_t kFields = 8;
    oxa::host::PictureGrid grid = {};
    if (planes.count == 0) return grid;
    const PicturePlanes::Plane& luma = planes.planes[0];
    for (size_t field = 0; field < grid.size(); ++field) {
        const size_t top = luma.rows * (field / kFields) / kFields;
        const size_t bottom = luma.rows * (field / kFields + 1) / kFields;
        const size_t left = luma.rowBytes * (field % kFields) / kFields;
        const size_t right = luma.rowBytes * (field % kFields + 1) / kFields;
        uint64_t sum = 0;
        for (size_t row = top; row < bottom; ++row) {
            const uint8_t* const samples = luma.data + row * luma.stride;
            sum = std::accumulate(samples + left, samples + right, sum);
        }
        const size_t count = (bottom - top) * (right - left);
        if (count > 0) grid[field] = static_cast<uint8_t>(sum / count);
    }
    return grid;
}

}  // namespace

RecordingDisplayImpl::RecordingDisplayImpl(size_t limit)
    : mLimit(limit),
      mInput("recording display"),
      mWorker("PictureHash", [this](auto& picture) { record(picture); }) {
    mInput.open([this](IntakePicture picture) { mWorker.post(std::move(picture)); });
}

RecordingDisplayImpl::~RecordingDisplayImpl() {
    mInput.close();
    mWorker.finish();
}

std::vector<oxa::host::RecordedPicture> RecordingDisplayImpl::pictures() const {
    AnnotatedLock lock(mLock);
    return mPictures;
}

void RecordingDisplayImpl::record(const IntakePicture& picture) {
    if (mRecordedCount < mLimit) {
        ++mRecordedCount;
        oxa::host::RecordedPicture recorded;
        recorded.arrivalUs = picture.arrivalUs;
        recorded.timestampNs = picture.timestampNs;
        recorded.mediaTimeUs = picture.picture->mediaTimeUs();
        recorded.width = picture.picture->width();
        recorded.height = picture.picture->height();
        recorded.hash = hashOf(picture.picture->planes());
        recorded.grid = gridOf(picture.picture->planes());
        AnnotatedLock lock(mLock);
        mPictures.push_back(recorded);
    }
    mInput.countShown();
    mInput.releasePlace();
}

}  // namespace android
