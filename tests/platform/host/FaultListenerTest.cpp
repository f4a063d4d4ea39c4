// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <log/log.h>
#include <oxa/host/FaultListener.h>
#include <utils/Timers.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace oxa::host {
namespace {

TEST(FaultListenerTest, TellsEveryListenerOnTheThreadOfTheFault) {
    std::vector<Fault> first;
    std::vector<std::thread::id> threads;
    int firstId = addFaultListener([&](const Fault& fault) { first.push_back(fault); });
    int secondId =
            addFaultListener([&](const Fault&) { threads.push_back(std::this_thread::get_id()); });
    int64_t beforeUs = systemTime(SYSTEM_TIME_MONOTONIC) / 1000;
    reportFault(Fault());
    int64_t afterUs = systemTime(SYSTEM_TIME_MONOTONIC) / 1000;
    removeFaultListener(firstId);
    reportFault(Fault());
    removeFaultListener(secondId);
    reportFault(Fault());

    ASSERT_EQ(1u, first.size());
    EXPECT_GE(first[0].timeUs, beforeUs);
    EXPECT_LE(first[0].timeUs, afterUs);
    EXPECT_EQ(std::vector<std::thread::id>(2, std::this_thread::get_id()), threads);
}

// A client frees what its listener uses as soon as the listener is removed.
TEST(FaultListenerTest, IsNotCalledAnyMoreOnceRemoved) {
    int32_t logPriority = __android_log_set_minimum_priority(ANDROID_LOG_ERROR);
    std::atomic<bool> ended{false};
    std::atomic<int> reported{0};
    std::thread reporter([&] {
        while (!ended) {
            reportFault(Fault());
            ++reported;
        }
    });
    for (int i = 0; i < 20; ++i) {
        auto calls = std::make_unique<int>(0);  // without a lock: one fault at a time
        int id = addFaultListener([&calls = *calls](const Fault&) { ++calls; });
        int before = reported;
        while (reported < before + 2)
            std::this_thread::yield();
        removeFaultListener(id);
        EXPECT_GT(*calls, 0);
    }
    ended = true;
    reporter.join();
    __android_log_set_minimum_priority(logPriority);
}

}  // namespace
}  // namespace oxa::host
