// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PngDisplay"

#include "display/PngDisplay.h"

#include <fcntl.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <utility>

namespace android {

namespace {

// 0, or the errno of what went wrong; then there is no file.
int writeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
    // Its name can be guessed: a link that somebody has laid there is not followed.
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0666);
    FILE* file = fd < 0 ? nullptr : fdopen(fd, "wb");
    if (file == nullptr) return errno;
    int err = fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() ? 0 : errno;
    if (fclose(file) != 0 && err == 0) err = errno;
    if (err != 0) remove(path.c_str());
    return err;
}

}  // namespace

PngDisplay::PngDisplay(const std::string& directory)
    : mDirectory(directory),
      mInput(directory),
      mConverter(PictureConverter::create()),
      mWorker("PngWriter", [this](const IntakePicture& picture) { write(picture); }) {
    mInput.open([this](IntakePicture picture) { mWorker.post(std::move(picture)); });
}

PngDisplay::~PngDisplay() {
    mInput.close();
    mWorker.finish();
}

void PngDisplay::write(const IntakePicture& picture) {
    const std::string path = nextPath(*picture.picture);
    if (!mConverter->toPng(picture.picture, picture.format, &mPng)) {
        mInput.countFailed(oxa::host::FaultSource::kWriter, path + ": cannot be encoded as PNG");
    } else if (const int err = writeFile(path, mPng); err != 0) {
        mInput.countFailed(oxa::host::FaultSource::kWriter, path + ": " + strerror(err), err);
    } else {
        mInput.countShown();
    }
    mInput.releasePlace();
}

std::string PngDisplay::nextPath(const Picture& picture) {
    char name[64];
    const int64_t timeUs = picture.mediaTimeUs();
    ++mNumber;
    if (timeUs < 0) {
        snprintf(name, sizeof(name), "/picture-%06u.png", mNumber);
    } else {
        snprintf(name, sizeof(name), "/picture-%06u-%" PRId64 ".%06" PRId64 "s.png", mNumber,
                 timeUs / 1000000, timeUs % 1000000);
    }
    return mDirectory + name;
}

}  // namespace android
