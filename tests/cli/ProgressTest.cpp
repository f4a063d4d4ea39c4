// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "report/LogText.h"
#include "report/ProgressText.h"
#include "report/TrackText.h"
#include "support/Test.h"

#include <nlohmann/json.hpp>
#include <regex>

namespace oxaplayer {
namespace {

Progress someNumbers() {
    Progress numbers;
    numbers.pictures = 100;
    numbers.picturesPerSecond = 45.94;
    numbers.speed = 1.5;
    numbers.percent = 12.9;
    numbers.secondsLeft = 41.2;
    numbers.bytes = 3'400'000;
    return numbers;
}

TEST(ProgressText, lineAndEventHoldAllThatIsKnown) {
    Progress numbers = someNumbers();
    EXPECT_EQ(formatProgressLine(numbers), " 12 %  1.50x  45.9 fps  0:42 left  3.4 MB");
    EXPECT_EQ(progressFields(numbers)["fps"], 45.94);
    EXPECT_EQ(progressFields(numbers)["bytes"], 3'400'000);
    numbers.percent.reset();
    numbers.secondsLeft.reset();
    numbers.bytes.reset();
    numbers.timeSec = 3723;
    numbers.pictures = 0;  // sound only
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
    const std::string widest = "[" + std::string(5, '#') + std::string(35, '-') + "] ";
    EXPECT_EQ(formatProgressBar(someNumbers(), 200, false),
              widest + formatProgressLine(someNumbers()));
}

// What is not known yet is not shown as zero.
TEST(ProgressText, showsNoRateBeforeThereIsOne) {
    Progress numbers;
    EXPECT_EQ(formatProgressLine(numbers), "0:00");
    EXPECT_EQ(rateText(numbers, 2), "  0 dropped");
    numbers.picturesPerSecond = 29.97;
    EXPECT_EQ(rateText(numbers, 2), "  29.97 fps  0 dropped");
    EXPECT_EQ(formatCount(1, "picture") + formatCount(2, ", time"), "1 picture2 , times");
}

TEST(ProgressText, sizesHaveTheUnitThatIsNext) {
    const std::pair<int64_t, const char*> kSizes[] = {{999, "999 B"},
                                                      {1'000, "1 kB"},
                                                      {812'345, "812 kB"},
                                                      {1'000'000, "1.0 MB"},
                                                      {1'000'000'000, "1.00 GB"}};
    for (const auto& [bytes, text] : kSizes)
        EXPECT_EQ(formatBytes(bytes), text);
}

TEST(LogText, hasColoursOnATerminalAlone) {
    const std::string line = "\033[0;31m full \033[m \033[2J\n";
    EXPECT_EQ(logText(line, false), " full  ?[2J?");
    EXPECT_EQ(logText(line, true), "\033[0;31m full \033[m ?[2J?\033[0m");
    EXPECT_EQ(logText("plain \033[3", true), "plain ?[3");
}

TEST(ProgressText, clockHasHoursFromOneOn) {
    EXPECT_EQ(formatClock(3599.5), "1:00:00");
}

// What the file does not tell is not shown as zero.
TEST(TrackText, hasOnlyWhatIsKnown) {
    Track track;
    track.isVideo = true;
    track.width = 640;
    track.height = 360;
    track.bitRate = 1'000'000;
    EXPECT_EQ(allTrackDetails(track), "640x360, 1.00 Mbit/s");
    EXPECT_TRUE(trackFields(track)["color"]["bits"].is_null());
}

TEST(LogText, hasNoControlCharactersAndALetterForEachPriority) {
    EXPECT_EQ(printable("\x1F\x7F ~\xC2\x80\xC2\x9F\xC2\xA0"), "?? ~\xC2\xBF\xC2\xBF\xC2\xA0");
    std::string letters;
    for (int priority = -1; priority <= 9; ++priority)
        letters += priorityLetter(priority);
    EXPECT_EQ(letters, "???VDIWEF??");
}

// A file name may hold any bytes; JSON may not.
TEST(Events, textThatIsNotUtf8StaysValidJson) {
    const std::string line = jsonLine({{"input", "caf\xe9\n.mp4"}});
    EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
    EXPECT_TRUE(Json::accept(line)) << line;
    EXPECT_EQ(jsonLine({{"input", "caf\u00e9"}}), "{\"input\":\"caf\u00e9\"}\n");
}

}  // namespace
}  // namespace oxaplayer
