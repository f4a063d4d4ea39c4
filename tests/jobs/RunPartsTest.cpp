// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <regex>

#include "encode/EncodeSetup.h"
#include "parts/PartList.h"
#include "run/FaultWarnings.h"
#include "run/ProgressMeter.h"
#include "sheet/SheetPicture.h"
#include "tracks/SourceTags.h"
#include "transcode/TargetFormat.h"

namespace oxa::jobs {
namespace {

constexpr int64_t kSecond = 1'000'000;

ProgressSample at(int64_t seconds, int64_t mediaSeconds, int64_t frames) {
    return {seconds * kSecond, mediaSeconds * kSecond, frames, frames * 1000};
}

// Rates over the whole job would hardly move after an hour; rates of one tick would jump.
TEST(ProgressMeter, ratesAreThoseOfTheLastSeconds) {
    ProgressMeter meter(0, 100 * kSecond);
    Progress numbers;
    for (int second = 1; second <= 10; ++second) {
        numbers = meter.add(at(second, 2 * second, 50 * second));
    }
    EXPECT_DOUBLE_EQ(numbers.speed, 2);
    EXPECT_DOUBLE_EQ(numbers.picturesPerSecond, 50);
    EXPECT_DOUBLE_EQ(numbers.timeSec, 20);
    EXPECT_DOUBLE_EQ(numbers.elapsedSec, 10);
    EXPECT_DOUBLE_EQ(*numbers.totalSec, 100);
    EXPECT_DOUBLE_EQ(*numbers.percent, 20);
    EXPECT_DOUBLE_EQ(*numbers.secondsLeft, 40);
    for (int second = 11; second <= 20; ++second) {
        numbers = meter.add(at(second, 20 + second - 10, 500 + 25 * (second - 10)));
    }
    EXPECT_DOUBLE_EQ(numbers.speed, 1);
    EXPECT_DOUBLE_EQ(numbers.picturesPerSecond, 25);
    EXPECT_DOUBLE_EQ(*numbers.secondsLeft, 70);
    EXPECT_DOUBLE_EQ(meter.overall(at(20, 30, 750)).speed, 1.5);
}

TEST(ProgressMeter, saysNothingThatItCannotKnow) {
    ProgressMeter unknown(0, 0);
    EXPECT_FALSE(unknown.add(at(1, 1, 1)).percent);
    EXPECT_FALSE(unknown.add(at(1, 1, 1)).secondsLeft);
    ProgressMeter stalled(0, 100 * kSecond);
    const Progress begin = stalled.add(at(0, 0, 0));
    EXPECT_EQ(begin.speed, 0);
    EXPECT_EQ(begin.picturesPerSecond, 0);
    EXPECT_FALSE(stalled.add(at(1, 0, 0)).secondsLeft);
    // A file that is longer than its header says.
    EXPECT_DOUBLE_EQ(*stalled.add(at(2, 150, 1)).percent, 100);
}

// A thousand damaged packets are one warning and one sum, not a thousand lines.
TEST(FaultWarnings, eachKindIsReportedOnceAndThenCounted) {
    std::vector<std::string> lines;
    FaultWarnings warnings([&](const std::string& line) { lines.push_back(line); });
    host::Fault fault;
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

// What a disk that was full or a hand has left of it.
TEST(PartList, isReadOnlyWhenAllOfItIsThere) {
    const TranscodeOptions options;
    InputPart front;
    front.endUs = 30 * kSecond;
    InputPart back;
    back.startUs = 30 * kSecond;
    PartList list(options, -1);
    list.setPlan({{front, back}, true, InputPart()}, 3);
    PartList again;
    ASSERT_TRUE(again.readPlan(list.text(), options));
    EXPECT_EQ(again.text(), list.text().substr(list.text().find("threads")));
    const std::pair<const char*, const char*> kDamages[] = {
            {"threads 3\n", ""}, {"sound 1\n", ""}, {"part .*\n", ""}, {"part 0", "part x"}};
    for (const auto& [found, left] : kDamages) {
        const std::string text = std::regex_replace(list.text(), std::regex(found), left);
        ASSERT_NE(text, list.text());
        EXPECT_FALSE(PartList().readPlan(text, options)) << text;
    }
}

// MPEG-TS has a byte for the length of a programme's name.
TEST(SourceTags, aNameOfAProgrammeIsCutBetweenLetters) {
    host::InputDescription input;
    input.metadata = {{"title", std::string(199, 'x') + "\u00e4 film"}};
    const auto titleIn = [&](Container container) {
        return keptTags(input, {}, {}, container).metadata.at(0).second;
    };
    EXPECT_EQ(titleIn(Container::kMpeg2Ts), std::string(199, 'x'));
    EXPECT_EQ(titleIn(Container::kMp4), input.metadata[0].second);
}

TEST(SheetTime, hasTenthsBelowAnHour) {
    EXPECT_EQ(sheetTime(3'999'999), "0:03.9");
    EXPECT_EQ(sheetTime(754'200'000), "12:34.2");
    EXPECT_EQ(sheetTime(3'600'000'000), "1:00:00");
    EXPECT_EQ(sheetTime(3'723'900'000), "1:02:03");
}

}  // namespace
}  // namespace oxa::jobs
