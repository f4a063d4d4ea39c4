// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <iostream>
#include <sstream>

#include "support/LibraryPlay.h"
#include "support/Sound.h"
#include "support/SyncMeasure.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

using oxa::host::RecordedPicture;

// A machine that does much else may add to it; bench/play.py tells how good it can be.
constexpr double kMaxOffsetMs = 60;

struct SyncCase : Named {
    int frameRate;
    bool tunneled;
};

class SyncTest : public testing::TestWithParam<SyncCase> {
  protected:
    // Of the picture that was on the screen first at this time of the file; negative: not shown.
    static double shownMs(const std::vector<RecordedPicture>& pictures, double mediaMs) {
        for (const RecordedPicture& picture : pictures) {
            if (std::fabs(picture.mediaTimeUs / 1000.0 - mediaMs) < 1) {
                return picture.arrivalUs / 1000.0;
            }
        }
        return -1;
    }

    // When each beep is heard minus when its flash is seen. A flash whose first picture was dropped
    // does not count.
    static std::vector<double> offsetsMs(const SyncMeasure& file,
                                         const std::vector<RecordedPicture>& pictures,
                                         const Sound& heard) {
        const std::vector<double> beeps = beepPositions(heard.mono(), heard.sampleRate);
        std::vector<double> offsets;
        for (size_t i = 0; i < std::min(beeps.size(), file.flashesMs.size()); ++i) {
            const double flashMs = shownMs(pictures, file.flashesMs[i]);
            const double beepMs = heard.timeUs(beeps[i]) / 1000;
            if (flashMs >= 0) offsets.push_back(beepMs - flashMs);
        }
        if (beeps.size() != file.beepsMs.size()) offsets.clear();
        return offsets;
    }
};

TEST_P(SyncTest, beepsAreHeardWithTheirFlashes) {
    ClipOptions clip;
    clip.seconds = 5;
    clip.frameRateNum = GetParam().frameRate;
    PlayOptions options;
    options.input = flashBeepClip(clip);
    options.tunneled = GetParam().tunneled;
    options.recordSound = true;
    const SyncMeasure file = measureSync(options.input);
    ASSERT_EQ(file.flashesMs.size(), 5U);
    ASSERT_EQ(file.beepsMs.size(), file.flashesMs.size());
    ASSERT_LT(std::fabs(file.largestMs()), 5);

    EXPECT_EQ(
            missedEachTime([&] {
                const Played played = LibraryPlay(options).playToEnd();
                const std::vector<double> offsets = offsetsMs(file, played.pictures, played.heard);
                std::ostringstream text;
                for (const double offset : offsets)
                    text << offset << " ms, ";
                std::cout << "sound after picture: " << text.str() << '\n';
                const bool inStep = std::all_of(offsets.begin(), offsets.end(), [](double offset) {
                    return std::fabs(offset) < kMaxOffsetMs;
                });
                const bool most = offsets.size() >= file.flashesMs.size() - 1;
                return inStep && most ? "" : "not in step: " + text.str();
            }),
            "");
}

INSTANTIATE_TEST_SUITE_P(Rates, SyncTest,
                         testing::Values(SyncCase{"At30", 30, false}, SyncCase{"At60", 60, false},
                                         SyncCase{"Tunneled", 30, true}),
                         rowName<SyncCase>);

}  // namespace
}  // namespace oxa::test
