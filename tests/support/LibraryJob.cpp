// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/LibraryJob.h"
#include "support/Test.h"

#include <android/log.h>
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>

#include "support/Watchdog.h"

namespace oxa::test {

using android::OK;

namespace {

constexpr int kOutputDescriptor = 7;
constexpr std::chrono::minutes kLongestJob{3};

int64_t allocatedBytes() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<int64_t>(info.uordblks + info.hblkhd);
}

// What a process must not collect.
struct ProcessUse {
    int descriptors = 0;
    int threads = 0;
};

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

// The test ends unless the process soon has no more, and no less, than before.
void expectNothingLeft(const ProcessUse& before) {
    ProcessUse now;
    // The kernel may list a thread for a moment after it was joined.
    ASSERT_TRUE(waitFor(
            [&] {
                now = currentUse();
                return now.descriptors == before.descriptors && now.threads == before.threads;
            },
            std::chrono::seconds(5)))
            << now.descriptors - before.descriptors << " descriptors and "
            << now.threads - before.threads << " threads are left";
}

}  // namespace

LibraryJob::LibraryJob(const std::string& input, const std::string& output, int onlyTrack)
    : mInput(input),
      mIsMp4(std::filesystem::path(output).extension() == ".mp4"),
      mDescriptor(open(output.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)),
      mPlayer(new android::OxaMediaCodecPlayer(true, onlyTrack)) {
    // Thousands of lines that say that all is well hide the one that does not.
    __android_log_set_minimum_priority(ANDROID_LOG_WARN);
}

LibraryJob::~LibraryJob() {
    mPlayer->cleanup();
    close(mDescriptor);
}

void LibraryJob::start() {
    ASSERT_GE(mDescriptor, 0);
    mFormat.width = 320;
    mFormat.height = 240;
    mFormat.bitRate = -1;
    mFormat.iFrameInterval = 2;
    mFormat.deinterlace = -1;
    mFormat.channelCount = 2;
    mFormat.sampleRate = 48000;
    android::_OxaTranscodeConfig config = {};
    config.type = kOutputDescriptor;
    config.fmt = mIsMp4 ? 1 : 0;
    config.fileDesc = mDescriptor;
    ASSERT_EQ(mPlayer->initiate(android::SourceTypeFile, false, true), OK);
    ASSERT_EQ(mPlayer->setDataSource(mInput.c_str()), OK);
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

void transcodeByLibrary(const std::string& input, const std::string& output, int onlyTrack) {
    LibraryJob job(input, output, onlyTrack);
    ASSERT_NO_FATAL_FAILURE(job.start());
    ASSERT_NO_FATAL_FAILURE(job.waitForEnd());
    job.stopAndCleanUp();
}

void repeat(int firstRounds, int rounds, std::chrono::seconds limit,
            const std::function<void(int round)>& once) {
    constexpr int64_t kMostGrowthBytes = 2 << 20;
    ProcessUse before = currentUse();
    int64_t bytesBefore = 0;
    for (int round = 0; round < firstRounds + rounds; ++round) {
        const std::string name = "round " + std::to_string(round);
        SCOPED_TRACE(name);
        {
            const Watchdog watchdog(name, limit);
            ASSERT_NO_FATAL_FAILURE(once(round));
        }
        // No thread may stay.
        if (round < firstRounds) before.descriptors = currentUse().descriptors;
        ASSERT_NO_FATAL_FAILURE(expectNothingLeft(before));
        if (round == firstRounds) bytesBefore = allocatedBytes();
    }
    const int64_t growth = allocatedBytes() - bytesBefore;
    EXPECT_LT(growth, kMostGrowthBytes);
    std::cout << "memory in use after " << rounds - 1 << " more rounds: " << growth
              << " bytes more\n";
}

}  // namespace oxa::test
