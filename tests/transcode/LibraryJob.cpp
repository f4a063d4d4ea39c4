// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "transcode/LibraryJob.h"

#include <android/log.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "support/Deadline.h"

namespace oxa::test {

using android::OK;

namespace {

constexpr int kOutputDescriptor = 7;
constexpr std::chrono::minutes kLongestJob{3};

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

int entriesOf(const char* folder) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        count += entry.exists() || entry.is_symlink();
    }
    return count;
}

}  // namespace

LibraryJob::LibraryJob(const Work& work)
    : mWork(work),
      mDescriptor(open(work.output.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)),
      mPlayer(new android::OxaMediaCodecPlayer(true, work.onlyTrack)) {
    // Thousands of lines that say that all is well hide the one that does not.
    __android_log_set_minimum_priority(ANDROID_LOG_WARN);
}

LibraryJob::~LibraryJob() {
    mPlayer->cleanup();
    close(mDescriptor);
}

void LibraryJob::start() {
    ASSERT_GE(mDescriptor, 0);
    mFormat.width = mWork.width;
    mFormat.height = mWork.height;
    mFormat.bitRate = -1;
    mFormat.iFrameInterval = 2;
    mFormat.deinterlace = -1;
    mFormat.channelCount = 2;
    mFormat.sampleRate = 48000;
    android::_OxaTranscodeConfig config = {};
    config.type = kOutputDescriptor;
    config.fmt = endsWith(mWork.output, ".mp4") ? 1 : 0;
    config.fileDesc = mDescriptor;
    ASSERT_EQ(mPlayer->initiate(android::SourceTypeFile, false, true), OK);
    ASSERT_EQ(mPlayer->setDataSource(mWork.input.c_str()), OK);
    ASSERT_EQ(mPlayer->setMuxer(config), OK);
    ASSERT_EQ(mPlayer->setTargetFormat(mFormat), OK);
    ASSERT_EQ(mPlayer->prepare(), OK);
    ASSERT_EQ(mPlayer->start(), OK);
}

void LibraryJob::waitForEnd() {
    ASSERT_TRUE(waitFor([this] { return mPlayer->EOSReached(); }, kLongestJob));
    ASSERT_EQ(mPlayer->drain(std::chrono::microseconds(kLongestJob).count()), OK);
}

void LibraryJob::stopAndCleanUp() {
    EXPECT_EQ(mPlayer->stop(), OK);
    EXPECT_EQ(mPlayer->cleanup(), OK);
}

ProcessUse currentUse() {
    // A sanitizer starts a thread of its own with the process's first one. The kernel may list a
    // thread for a moment after it was joined.
    static const bool started = [] {
        std::string entry;
        std::thread([&] { entry = "/proc/self/task/" + std::to_string(gettid()); }).join();
        return waitFor([&] { return !std::filesystem::exists(entry); });
    }();
    EXPECT_TRUE(started);
    return {entriesOf("/proc/self/fd"), entriesOf("/proc/self/task")};
}

}  // namespace oxa::test
