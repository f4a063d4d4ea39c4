// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "Progress.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <regex>

#include "FaultWarnings.h"

namespace oxaplayer {
namespace {

constexpr int64_t kSecond = 1'000'000;

ProgressSample at(int64_t seconds, int64_t mediaSeconds, int64_t frames) {
    return {seconds * kSecond, mediaSeconds * kSecond, frames, frames * 1000};
}

// Rates over the whole job would hardly move after an hour; rates of one tick would jump.
TEST(ProgressMeter, ratesAreThoseOfTheLastSeconds) {
    ProgressMeter meter(0, 100 * kSecond);
    ProgressNumbers numbers;
    for (int second = 1; second <= 10; ++second) {
        numbers = meter.add(at(second, 2 * second, 50 * second));
    }
    EXPECT_DOUBLE_EQ(numbers.speed, 2);
    EXPECT_DOUBLE_EQ(numbers.framesPerSecond, 50);
    EXPECT_DOUBLE_EQ(*numbers.percent, 20);
    EXPECT_DOUBLE_EQ(*numbers.secondsLeft, 40);
    for (int second = 11; second <= 20; ++second) {
        numbers = meter.add(at(second, 20 + second - 10, 500 + 25 * (second - 10)));
    }
    EXPECT_DOUBLE_EQ(numbers.speed, 1);
    EXPECT_DOUBLE_EQ(numbers.framesPerSecond, 25);
    EXPECT_DOUBLE_EQ(*numbers.secondsLeft, 70);
    EXPECT_DOUBLE_EQ(meter.overall(at(20, 30, 750)).speed, 1.5);
}

TEST(ProgressMeter, saysNothingThatItCannotKnow) {
    ProgressMeter unknown(0, 0);
    EXPECT_FALSE(unknown.add(at(1, 1, 1)).percent);
    EXPECT_FALSE(unknown.add(at(1, 1, 1)).secondsLeft);
    ProgressMeter stalled(0, 100 * kSecond);
    EXPECT_FALSE(stalled.add(at(1, 0, 0)).secondsLeft);
    // A file that is longer than its header says.
    EXPECT_DOUBLE_EQ(*stalled.add(at(2, 150, 1)).percent, 100);
}

ProgressNumbers someNumbers() {
    ProgressNumbers numbers;
    numbers.frames = 100;
    numbers.framesPerSecond = 45.94;
    numbers.speed = 1.5;
    numbers.percent = 12.9;
    numbers.secondsLeft = 41.2;
    numbers.bytes = 3'400'000;
    return numbers;
}

TEST(ProgressText, lineAndEventHoldAllThatIsKnown) {
    ProgressNumbers numbers = someNumbers();
    EXPECT_EQ(formatProgressLine(numbers), " 12 %  1.50x  45.9 fps  0:42 left  3.4 MB");
    EXPECT_EQ(progressFields(numbers)["fps"], 45.94);
    EXPECT_EQ(progressFields(numbers)["bytes"], 3'400'000);
    numbers.percent.reset();
    numbers.secondsLeft.reset();
    numbers.bytes.reset();
    numbers.timeSec = 3723;
    numbers.frames = 0;  // sound only
    EXPECT_EQ(formatProgressLine(numbers), "1:02:03  1.50x");
    EXPECT_FALSE(progressFields(numbers).contains("percent"));
    EXPECT_FALSE(progressFields(numbers).contains("bytes"));
}

// A bar as wide as the terminal would wrap and leave a trail of lines; colour takes no room.
TEST(ProgressText, barNeverFillsTheTerminal) {
    for (int columns : {0, 1, 10, 40, 60, 80, 200}) {
        const std::string bar = formatProgressBar(someNumbers(), columns, false);
        EXPECT_LT(static_cast<int>(bar.size()), std::max(columns, 1)) << columns;
        const std::string coloured = formatProgressBar(someNumbers(), columns, true);
        EXPECT_EQ(std::regex_replace(coloured, std::regex("\033\\[[0-9;]*m"), ""), bar);
    }
    EXPECT_EQ(formatProgressBar(someNumbers(), 80, false).substr(0, 8), "[####---");
}

// A file name may hold any bytes; JSON may not.
TEST(Events, textThatIsNotUtf8StaysValidJson) {
    const std::string line = jsonLine({{"input", "caf\xe9\n.mp4"}});
    EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
    EXPECT_TRUE(Json::accept(line)) << line;
}

// A thousand damaged packets are one warning and one sum, not a thousand lines.
TEST(FaultWarnings, eachKindIsReportedOnceAndThenCounted) {
    std::vector<std::string> lines;
    FaultWarnings warnings([&](const std::string& line) { lines.push_back(line); });
    oxa::host::Fault fault;
    fault.object = "video";
    fault.cause = "damaged data";
    for (fault.count = 1; fault.count <= 1000; ++fault.count)
        warnings.add(fault);
    fault.object = "audio";
    fault.count = 1;
    warnings.add(fault);
    EXPECT_EQ(lines, (std::vector<std::string>{"video: damaged data", "audio: damaged data"}));
    lines.clear();
    warnings.summarize();
    EXPECT_EQ(lines, std::vector<std::string>{"video: damaged data (1000 times)"});
    EXPECT_EQ(warnings.damaged(), 1001u);
}

}  // namespace
}  // namespace oxaplayer
