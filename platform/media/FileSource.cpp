// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "FileSource"

#include <datasource/FileSource.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <log/log.h>
#include <media/stagefright/MediaErrors.h>
#include <poll.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "media/DescriptorName.h"

namespace android {

namespace {

// One read that neither an interrupt nor a descriptor without blocking ends early.
ssize_t readSome(int fd, void* data, size_t size) {
    for (;;) {
        ssize_t count = read(fd, data, size);
        if (count >= 0) return count;
        if (errno == EAGAIN) {
            pollfd readable = {fd, POLLIN, 0};
            poll(&readable, 1, -1);
        } else if (errno != EINTR) {
            return -errno;
        }
    }
}

}  // namespace

FileSource::FileSource(const char* filename)
    : mFd(open(filename, O_RDONLY | O_CLOEXEC)), mName(filename) {
    if (mFd < 0) {
        ALOGE("cannot open '%s': %s", filename, strerror(errno));
        return;
    }
    inspect(0, INT64_MAX);
}

FileSource::FileSource(int fd, int64_t offset, int64_t length)
    : mFd(fd), mName(descriptorName(fd).c_str()) {
    inspect(std::max<int64_t>(offset, 0), std::max<int64_t>(length, 0));
}

FileSource::~FileSource() {
    if (mFd >= 0) ::close(mFd);
}

void FileSource::inspect(int64_t offset, int64_t length) {
    struct stat status;
    if (mFd < 0 || fstat(mFd, &status) != 0) return;
    mSeekable = S_ISREG(status.st_mode) || S_ISBLK(status.st_mode);
    if (!mSeekable) return;
    off64_t fileSize = status.st_size;
    if (S_ISBLK(status.st_mode)) fileSize = std::max<off64_t>(lseek64(mFd, 0, SEEK_END), 0);
    mOffset = std::min<off64_t>(offset, fileSize);
    mLength = std::min<off64_t>(length, fileSize - mOffset);
}

status_t FileSource::initCheck() const {
    return mFd >= 0 ? OK : NO_INIT;
}

ssize_t FileSource::readAt(off64_t offset, void* data, size_t size) {
    if (mFd < 0) return NO_INIT;
    if (offset < 0) return BAD_VALUE;
    if (!mSeekable) {
        Mutex::Autolock lock(mPipeLock);
        return readPipeLocked(offset, data, size);
    }
    if (offset >= mLength) return 0;
    size = std::min<off64_t>(size, mLength - offset);
    size_t done = 0;
    while (done < size) {
        ssize_t count =
                pread64(mFd, static_cast<char*>(data) + done, size - done, mOffset + offset + done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && done == 0) return -errno;
        if (count <= 0) break;  // an error after some bytes comes again at the next read
        done += count;
    }
    return done;
}

ssize_t FileSource::readPipeLocked(off64_t offset, void* data, size_t size) {
    if (offset < mPipePosition) {
        ALOGE("%s is a pipe: cannot go back from byte %lld to %lld", mName.c_str(),
              static_cast<long long>(mPipePosition), static_cast<long long>(offset));
        return -ESPIPE;
    }
    std::vector<char> skipped(std::min<off64_t>(offset - mPipePosition, 65536));
    while (mPipePosition < offset) {
        ssize_t count = readSome(mFd, skipped.data(),
                                 std::min<off64_t>(skipped.size(), offset - mPipePosition));
        if (count <= 0) return count;
        mPipePosition += count;
    }
    ssize_t count = readSome(mFd, data, size);
    if (count > 0) mPipePosition += count;
    return count;
}

status_t FileSource::getSize(off64_t* size) {
    if (mFd < 0) return NO_INIT;
    if (!mSeekable) return ERROR_UNSUPPORTED;
    *size = mLength;
    return OK;
}

String8 FileSource::toString() {
    return mName;
}

}  // namespace android
