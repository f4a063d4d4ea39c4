// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "record/PresetChoice.h"

#include <regex>

#include "support/Test.h"

namespace oxa::jobs {
namespace {

constexpr Size kSize = {1280, 720};

class PresetChoiceTest : public testing::Test {
  protected:
    // The times of veryfast and superfast, in microseconds; nobody asks for that of ultrafast.
    PresetChoice choice(int64_t veryfastUs, int64_t superfastUs) {
        return {mFile, [=](Size size, const std::string& preset) {
                    EXPECT_EQ(kSize.width, size.width);
                    mMeasured.push_back(preset);
                    return preset == "veryfast" ? veryfastUs : superfastUs;
                }};
    }
    std::vector<std::string> takeMeasured() { return std::exchange(mMeasured, {}); }

    const test::TempDir mFolder;
    std::string mFile = mFolder.file("cache/presets");
    std::vector<std::string> mMeasured;
};

TEST_F(PresetChoiceTest, leavesAThirdOfTheTimeToOthers) {
    const struct {
        int64_t veryfastUs;
        int64_t superfastUs;
        int32_t frameRate;
        const char* preset;
    } kCases[] = {{22'222, 0, 30, "veryfast"},
                  {22'223, 22'222, 30, "superfast"},
                  {22'223, 22'223, 30, "ultrafast"},
                  {22'222, 11'111, 60, "superfast"},
                  {0, 0, 30, "veryfast"}};
    mFile.clear();
    for (const auto& test : kCases) {
        const auto presets = choice(test.veryfastUs, test.superfastUs);
        EXPECT_EQ(presets.choose(kSize, test.frameRate), test.preset) << test.veryfastUs;
        EXPECT_FALSE(presets.remembered(kSize, test.frameRate));
    }
}

TEST_F(PresetChoiceTest, remembersWhatWasMeasured) {
    EXPECT_EQ(choice(50'000, 10'000).choose(kSize, 30), "superfast");
    EXPECT_THAT(takeMeasured(), testing::ElementsAre("veryfast", "superfast"));
    EXPECT_EQ(choice(1, 1).choose(kSize, 30), "superfast");
    EXPECT_THAT(takeMeasured(), testing::IsEmpty());
    EXPECT_EQ(choice(1, 1).choose(kSize, 60), "veryfast") << "another rate";
    EXPECT_EQ(choice(1, 1).remembered(kSize, 30), "superfast") << "stays beside it";
    choice(1, 1).forget(kSize, 30);
    EXPECT_FALSE(choice(1, 1).remembered(kSize, 30));
    EXPECT_EQ(choice(1, 1).remembered(kSize, 60), "veryfast");
    const std::string kept = test::readFile(mFile);
    EXPECT_THAT(kept, testing::HasSubstr("1280x720 60 fps, "));
    std::smatch model;
    const std::string processor = test::readFile("/proc/cpuinfo");
    if (std::regex_search(processor, model, std::regex("model name\\s*: (.*)"))) {
        EXPECT_THAT(kept, testing::HasSubstr(" of " + model.str(1) + ": "));
    }
    ASSERT_TRUE(test::writeFile(mFile, kept.substr(0, kept.size() - 3) + "\n\n12\n"));
    EXPECT_FALSE(choice(1, 1).remembered(kSize, 60)) << "what is damaged is not believed";
    mFile = "/proc/none/presets";
    EXPECT_EQ(choice(1, 1).choose(kSize, 30), "veryfast") << "a cache that cannot be written";
}

TEST(FasterPreset, isTheNextOneThatMayHelp) {
    const std::pair<const char*, const char*> kNext[] = {{"placebo", "veryfast"},
                                                         {"faster", "veryfast"},
                                                         {"veryfast", "superfast"},
                                                         {"superfast", "ultrafast"}};
    for (const auto& [preset, faster] : kNext) {
        EXPECT_EQ(fasterPreset(preset), faster);
        EXPECT_TRUE(isFasterPreset(faster, preset));
        EXPECT_FALSE(isFasterPreset(preset, faster));
    }
    EXPECT_FALSE(fasterPreset("ultrafast"));
    EXPECT_FALSE(isFasterPreset("veryfast", "veryfast"));
}

}  // namespace
}  // namespace oxa::jobs
