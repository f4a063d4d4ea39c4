// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <utils/Errors.h>

#include <functional>
#include <string>
#include <vector>

namespace android {

// A step in the life of a player or a pipeline. Taking the first n leads to the n-th state; the
// last one is the stop.
struct Step {
    std::function<status_t()> take;
    // What ends the process when it is taken in another state; empty: it does no harm there.
    std::string refusal;
    bool alsoStarted = false;
};

inline std::string refusalOf(const std::string& condition) {
    return "CHECK(" + condition + ") failed.";
}

// Jobs are classes with all that their steps need, and a static steps(Job*) that gives them.
template <typename Job>
status_t take(Job* job, size_t step) {
    return Job::steps(job)[step].take();
}

template <typename Job>
void advance(Job* job, size_t count) {
    for (size_t i = 0; i < count; ++i)
        ASSERT_EQ(take(job, i), OK) << "step " << i;
}

// For a test whose suite is called ...DeathTest: such suites run before there are other threads, so
// that the process can simply be forked.
template <typename Job>
void expectOnlyTheNextStepIsAccepted(size_t firstState = 0) {
    const std::vector<Step> steps = Job::steps(nullptr);  // only for what they say
    for (size_t state = firstState; state <= steps.size(); ++state) {
        for (size_t step = 0; step < steps.size(); ++step) {
            const bool isStarted = state + 1 == steps.size();
            if (step == state || (isStarted && steps[step].alsoStarted)) continue;
            if (steps[step].refusal.empty()) continue;
            EXPECT_DEATH(
                    {
                        Job job;
                        advance(&job, state);
                        take(&job, step);
                    },
                    testing::AllOf(testing::HasSubstr(Job::kCheckedIn),
                                   testing::HasSubstr(steps[step].refusal)))
                    << "state " << state << ", step " << step;
        }
    }
}

}  // namespace android
