// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <log/log.h>
#include <oxa/host/FaultListener.h>
#include <utils/Timers.h>

#include "support/Test.h"

namespace oxa::host {
namespace {

// Every listener hears on the thread of the fault, one fault at a time, with its time. A client
// frees what its listener uses as soon as the listener is removed.
TEST(FaultListenerTest, tellsEveryListenerUntilItIsRemoved) {
    const int32_t logPriority = __android_log_set_minimum_priority(ANDROID_LOG_ERROR);
    std::atomic<bool> ended{false};
    std::atomic<int> reported{0};
    std::thread reporter([&] {
        for (; !ended; ++reported)
            reportFault(Fault());
    });
    int others = 0;  // without a lock, as the others below
    const int other = addFaultListener([&](const Fault& fault) {
        EXPECT_EQ(reporter.get_id(), std::this_thread::get_id());
        EXPECT_NEAR(fault.timeUs, systemTime(SYSTEM_TIME_MONOTONIC) / 1000, 30000000);
        ++others;
    });
    for (int i = 0; i < 20; ++i) {
        auto calls = std::make_unique<int>(0);
        const int id = addFaultListener([&calls = *calls](const Fault&) { ++calls; });
        const int before = reported;
        while (reported < before + 2)
            std::this_thread::yield();
        removeFaultListener(id);
        EXPECT_GT(*calls, 0);
    }
    ended = true;
    reporter.join();
    removeFaultListener(other);
    EXPECT_GE(others, 40);
    reportFault(Fault());
    __android_log_set_minimum_priority(logPriority);
}

}  // namespace
}  // namespace oxa::host
