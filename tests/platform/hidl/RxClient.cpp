// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/hidl/RxClient.h"

#include <android/hidl/allocator/1.0/IAllocator.h>
#include <gtest/gtest.h>
#include <hidlmemory/mapping.h>

#include <thread>

namespace oxa::test {

using android::hardware::hidl_memory;
using android::hardware::Return;
using vendor::oxa::audioutil::V1_0::IAudioUtil;

namespace {

constexpr uint64_t kMemorySize = 16384;
constexpr std::chrono::milliseconds kPollTime{15};
constexpr int kSampleRate = 48000;

}  // namespace

RxClient::RxClient() : mService(IAudioUtil::getService("default", false)) {
    const auto allocator = android::hidl::allocator::V1_0::IAllocator::getService("ashmem");
    allocator->allocate(kMemorySize,
                        [this](bool /*success*/, const hidl_memory& memory) { mMemory = memory; });
    mMapping = android::hardware::mapMemory(mMemory);
    mBase = static_cast<const int16_t*>(static_cast<void*>(mMapping->getPointer()));
}

RxClient::~RxClient() {
    mService->setRxPlayback(false);
    stop();
}

void RxClient::start(int channels) {
    mService->setRxRender(1, kSampleRate, channels);
    mService->setRxRecord(true);
}

void RxClient::stop() {
    mService->setRxRecord(false);
    mService->setRxRender(0, 0, 0);
}

bool RxClient::poll(RxAnswer* answer) {
    int calls = 0;
    const Return<void> reached = mService->readRxAudio(
            mMemory,
            [&](int64_t timeUs, int32_t size, int32_t channels, int32_t sampleRate, int32_t state) {
                ++calls;
                EXPECT_GE(size, 0);
                EXPECT_LE(static_cast<uint64_t>(size), kMemorySize);
                *answer = {timeUs, channels, sampleRate, state,
                           std::vector<int16_t>(mBase, mBase + size / sizeof(int16_t))};
            });
    EXPECT_EQ(reached.isOk() ? 1 : 0, calls);
    return reached.isOk();
}

bool RxClient::pollUntil(const std::function<bool()>& condition,
                         std::chrono::milliseconds timeout) {
    const Deadline deadline(timeout);
    RxAnswer answer;
    while (!condition()) {
        if (deadline.passed()) return false;
        if (!poll(&answer)) return true;
        mLastState = answer.state;
        if (answer.state != -1 && answer.state != 3) mBlocks.push_back(answer);
        std::this_thread::sleep_for(kPollTime);
    }
    return true;
}

bool RxClient::pollFrames(size_t frames) {
    return pollUntil([&] { return this->frames() >= frames; });
}

size_t RxClient::frames() const {
    size_t frames = 0;
    for (const RxAnswer& block : mBlocks)
        frames += block.samples.size() / block.channels;
    return frames;
}

std::vector<int16_t> RxClient::samples() const {
    std::vector<int16_t> all;
    for (const RxAnswer& block : mBlocks)
        all.insert(all.end(), block.samples.begin(), block.samples.end());
    return all;
}

}  // namespace oxa::test
