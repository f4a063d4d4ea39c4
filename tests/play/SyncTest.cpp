// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <sstream>
#include <vector>

#include "play/LibraryPlay.h"
#include "support/Sound.h"
#include "support/SyncMeasure.h"
#include "support/TestClips.h"
#include "support/Tries.h"

namespace oxa::test {
namespace {

using oxa::host::RecordedPicture;

// A machine that does much else may add to it; bench/play.py tells how good it can be.
constexpr double kMaxOffsetMs = 60;

struct SyncCase {
    const char* name;
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
                                         const HeardSound& heard) {
        const std::vector<double> beeps = beepPositions(heard.samples, heard.sampleRate);
        std::vector<double> offsets;
        for (size_t i = 0; i < std::min(beeps.size(), file.flashesMs.size()); ++i) {
            const double flashMs = shownMs(pictures, file.flashesMs[i]);
            const double beepMs = heard.timeUs[std::lround(beeps[i])] / 1000.0;
            if (flashMs >= 0) offsets.push_back(beepMs - flashMs);
        }
        if (beeps.size() != file.beepsMs.size()) offsets.clear();
        return offsets;
    }

    static std::vector<double> playedOffsetsMs(const PlayOptions& options,
                                               const SyncMeasure& file) {
        LibraryPlay play(options);
        play.start();
        play.waitForEnd();
        play.stopAndCleanUp();
        return offsetsMs(file, play.display().pictures(), heardSound(*play.sound()));
    }
};

TEST_P(SyncTest, beepsAreHeardWithTheirFlashes) {
    ClipOptions clip;
    clip.seconds = 5;
    clip.frameRateNum = GetParam().frameRate;
    PlayOptions options;
    options.input = flashBeepClip(clip);
    options.tunneled = GetParam().tunneled;
    options.sound = PlayOptions::Sound::kRecorded;
    const SyncMeasure file = measureSync(options.input);
    ASSERT_EQ(static_cast<int>(file.flashesMs.size()), flashCount(clip));
    ASSERT_EQ(file.beepsMs.size(), file.flashesMs.size());
    ASSERT_LT(std::fabs(file.largestMs()), 5);

    EXPECT_EQ(missedEachTime([&] {
                  const std::vector<double> offsets = playedOffsetsMs(options, file);
                  std::ostringstream text;
                  for (const double offset : offsets)
                      text << offset << " ms, ";
                  std::cout << "sound after picture: " << text.str() << '\n';
                  const bool inStep = std::all_of(
                          offsets.begin(), offsets.end(),
                          [](double offset) { return std::fabs(offset) < kMaxOffsetMs; });
                  const bool most = static_cast<int>(offsets.size()) >= flashCount(clip) - 1;
                  return inStep && most ? "" : "not in step: " + text.str();
              }),
              "");
}

INSTANTIATE_TEST_SUITE_P(Rates, SyncTest,
                         testing::Values(SyncCase{"At30", 30, false}, SyncCase{"At60", 60, false},
                                         SyncCase{"Tunneled", 30, true}),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace oxa::test
