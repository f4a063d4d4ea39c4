// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "audio/WavFile.h"

#include <errno.h>
#include <oxa/host/FaultListener.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace android {

namespace {

constexpr uint16_t kFormatPcm = 1;
constexpr uint16_t kFormatExtensible = 0xFFFE;
// The format's number as a GUID continues so.
constexpr char kGuidRest[] = "\x00\x00\x00\x00\x10\x00\x80\x00\x00\xAA\x00\x38\x9B\x71";
constexpr uint32_t kUnknownSize = 0xFFFFFFFF;

void append(std::string* out, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i)
        out->push_back(static_cast<char>(value >> (8 * i)));
}

std::string formatChunk(const SoundFormat& format) {
    constexpr uint32_t kSampleBytes = sizeof(int16_t);
    const bool extensible = format.channels > 2;
    const uint32_t frameBytes = format.channels * kSampleBytes;
    std::string chunk;
    append(&chunk, extensible ? kFormatExtensible : kFormatPcm, 2);
    append(&chunk, format.channels, 2);
    append(&chunk, format.sampleRate, 4);
    append(&chunk, format.sampleRate * frameBytes, 4);
    append(&chunk, frameBytes, 2);
    append(&chunk, 8 * kSampleBytes, 2);
    if (!extensible) return chunk;
    append(&chunk, 22, 2);  // bytes of the extension
    append(&chunk, 8 * kSampleBytes, 2);
    append(&chunk, format.channelMask, 4);
    append(&chunk, kFormatPcm, 2);
    chunk.append(kGuidRest, sizeof(kGuidRest) - 1);
    return chunk;
}

}  // namespace

WavFile::WavFile(const std::string& path) : mPath(path) {}

WavFile::~WavFile() {
    WavFile::onStopped();
    if (mFd >= 0) close(mFd);
}

status_t WavFile::open(const SoundFormat& format) {
    mFormat = format;
    mFd = ::open(mPath.c_str(), kWavOpenFlags, kWavMode);
    if (mFd < 0) {
        fail(errno);
        return OK;
    }
    mSeekable = lseek(mFd, 0, SEEK_CUR) == 0;
    const std::string head = header();
    writeAll(head.data(), head.size());
    return OK;
}

void WavFile::consume(const int16_t* samples, size_t frames, int64_t /*heardAtUs*/) {
    if (mFd < 0) return;
    const size_t frameBytes = mFormat.channels * sizeof(int16_t);
    if (!writeAll(samples, frames * frameBytes)) return;
    mDataBytes += frames * frameBytes;
    if (mDataBytes - mHeaderBytes >= mFormat.sampleRate * frameBytes) updateHeader();
}

void WavFile::onStopped() {
    if (mFd >= 0 && mDataBytes != mHeaderBytes) updateHeader();
}

std::string WavFile::header() const {
    const std::string format = formatChunk(mFormat);
    const uint64_t dataBytes = mSeekable ? mDataBytes : kUnknownSize;
    const uint64_t riffBytes = 4 + 8 + format.size() + 8 + dataBytes;
    const auto size = [](uint64_t bytes) {
        return static_cast<uint32_t>(std::min<uint64_t>(bytes, kUnknownSize));
    };
    std::string head = "RIFF";
    append(&head, size(riffBytes), 4);
    head += "WAVEfmt ";
    append(&head, size(format.size()), 4);
    head += format + "data";
    append(&head, size(dataBytes), 4);
    return head;
}

void WavFile::updateHeader() {
    mHeaderBytes = mDataBytes;
    if (!mSeekable) return;
    const std::string head = header();
    if (pwrite(mFd, head.data(), head.size(), 0) < 0) fail(errno);
}

bool WavFile::writeAll(const void* data, size_t size) {
    const char* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = write(mFd, bytes, size);
        if (written < 0 && (errno == EINTR || (errno == EAGAIN && waitForReader()))) continue;
        if (written < 0) {
            fail(errno);
            return false;
        }
        bytes += written;
        size -= written;
    }
    return true;
}

// Not for long: the sound waits for it, and then whoever stops the track.
bool WavFile::waitForReader() {
    constexpr int kLimitMs = 500;
    pollfd output = {mFd, POLLOUT, 0};
    const bool ready = poll(&output, 1, kLimitMs) > 0;
    if (!ready) errno = ETIMEDOUT;
    return ready;
}

void WavFile::fail(int error) {
    if (mFd >= 0) close(mFd);
    mFd = -1;
    oxa::host::Fault fault;
    fault.source = oxa::host::FaultSource::kSound;
    fault.ended = true;
    fault.object = mPath;
    fault.cause = strerror(error);
    fault.error = error;
    oxa::host::reportFault(fault);
}

}  // namespace android
