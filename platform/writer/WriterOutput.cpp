// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "writer/WriterOutput.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <oxa/host/OutputWait.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utils/Timers.h>

#include <algorithm>

#include "media/DescriptorName.h"

namespace android {

namespace {

constexpr int64_t kMaxWaitAfterStopNs = 1000000000;
constexpr int kPollMs = 50;

}  // namespace

WriterOutput::WriterOutput(int fd)
    : mFd(fcntl(fd, F_DUPFD_CLOEXEC, 0)), mName(descriptorName(fd)), mError(EBADF) {
    struct stat status;
    const int flags = fcntl(mFd, F_GETFL);
    if (flags < 0 || (flags & O_ACCMODE) == O_RDONLY || fstat(mFd, &status) != 0) return;
    mError = 0;
    mRegular = S_ISREG(status.st_mode) || S_ISBLK(status.st_mode);
    mSocket = S_ISSOCK(status.st_mode);
    // Appending descriptors write at the end whatever the position.
    mSeekable = lseek64(mFd, 0, SEEK_CUR) >= 0 && (flags & O_APPEND) == 0;
}

WriterOutput::WriterOutput(WriteFunction function)
    : mFunction(std::move(function)), mName("a write function") {}

WriterOutput::~WriterOutput() {
    close();
}

void WriterOutput::close() {
    mDiskSync.reset();
    if (mFd >= 0) ::close(mFd);
    mFd = -1;
}

std::string WriterOutput::cause() const {
    if (mError == 0) return "";
    return mError == ETIMEDOUT && !mRegular ? "the reader does not read on" : strerror(mError);
}

int WriterOutput::append(const void* data, size_t size) {
    const char* rest = static_cast<const char*>(data);
    if (mRegular && mDiskSync == nullptr) mDiskSync = std::make_unique<DiskSync>(mFd);
    while (size > 0 && mError == 0) {
        const ssize_t count = writeSome(rest, size);
        if (count < 0) {
            mError = static_cast<int>(-count);
            break;
        }
        rest += count;
        size -= count;
        mPosition += count;
    }
    if (mDiskSync != nullptr) mDiskSync->wrote();
    return mError;
}

int WriterOutput::writeAt(off64_t position, const void* data, size_t size) {
    const off64_t end = mPosition;
    mPosition = position;
    append(data, size);
    mPosition = end;
    return mError;
}

// What is neither a file nor a function may make a write wait for as long as its reader likes, so
// it is only given what it has room for.
ssize_t WriterOutput::writeSome(const void* data, size_t size) {
    if (mFunction) {
        const ssize_t count = mFunction(data, size);
        return count != 0 ? count : -EIO;
    }
    for (;;) {
        ssize_t count;
        if (mSeekable) {
            count = pwrite64(mFd, data, size, mPosition);
        } else if (mRegular) {
            count = write(mFd, data, size);
        } else if (!waitUntilWritable()) {
            return -ETIMEDOUT;
        } else if (mSocket) {
            count = send(mFd, data, size, MSG_DONTWAIT);
        } else {
            count = write(mFd, data, std::min<size_t>(size, PIPE_BUF));
        }
        if (count > 0) return count;
        if (count == 0) return -EIO;
        if (errno != EINTR && errno != EAGAIN) return -errno;
    }
}

bool WriterOutput::waitUntilWritable() const {
    const nsecs_t beginNs = systemTime(SYSTEM_TIME_MONOTONIC);
    pollfd descriptor = {mFd, POLLOUT, 0};
    while (poll(&descriptor, 1, kPollMs) <= 0) {
        const nsecs_t nowNs = systemTime(SYSTEM_TIME_MONOTONIC);
        const int64_t limitUs = oxa::host::outputWaitLimit();
        if (nowNs > mWaitsEndNs) return false;
        if (limitUs >= 0 && ns2us(nowNs - beginNs) > limitUs) return false;
    }
    return true;
}

void WriterOutput::limitWaits() {
    mWaitsEndNs = systemTime(SYSTEM_TIME_MONOTONIC) + kMaxWaitAfterStopNs;
}

int WriterOutput::sync() {
    // Only what has a disk below it can be synced.
    if (mError == 0 && mRegular && fsync(mFd) != 0) mError = errno;
    if (mError == 0 && mDiskSync != nullptr) mError = mDiskSync->error();
    return mError;
}

int WriterOutput::recover(off64_t size) {
    mError = 0;
    mPosition = size;
    if (mRegular && ftruncate(mFd, size) != 0) mError = errno;
    return mError;
}

}  // namespace android
