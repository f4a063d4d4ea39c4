// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <oxa/host/EncoderPreset.h>

namespace oxa::host {
namespace {

TEST(EncoderPresetTest, TakesTheNamesThatTheEncoderKnowsAndNoOther) {
    EXPECT_EQ("veryfast", encoderPreset());
    EXPECT_TRUE(setEncoderPreset("placebo"));
    for (const char* name : {"", "fastest", "Medium", "medium "}) {
        EXPECT_FALSE(setEncoderPreset(name)) << name;
        EXPECT_EQ("placebo", encoderPreset());
    }
    EXPECT_TRUE(setEncoderPreset("veryfast"));
}

}  // namespace
}  // namespace oxa::host
