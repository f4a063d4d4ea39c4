// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <camera/CameraParameters.h>
#include <gtest/gtest.h>

#include <string>

#include "live/LiveJob.h"
#include "support/Deadline.h"

namespace oxa::test {
namespace {

using namespace android;

LiveOptions sourceOf(bool hdmi) {
    LiveOptions options;
    options.hdmi = hdmi;
    options.source = hdmi ? flashesAndBeeps() : "testsrc2=size=320x240:rate=30";
    options.microphone = "sine=frequency=440:sample_rate=48000";
    return options;
}

TEST(HotplugTest, theClientsHandlerHearsOfThePlug) {
    LiveJob job(sourceOf(true));
    ASSERT_NO_FATAL_FAILURE(job.start());
    job.receiver()->unplug();
    EXPECT_TRUE(waitFor([&] { return job.hotplugState() == 0; })) << job.hotplugState();
    job.receiver()->plug();
    EXPECT_TRUE(waitFor([&] { return job.hotplugState() == 1; })) << job.hotplugState();
}

class ClientQueryTest : public testing::TestWithParam<bool> {};

TEST_P(ClientQueryTest, parametersAreThoseOfTheSourceThatIsSetUp) {
    LiveJob job(sourceOf(GetParam()));
    EXPECT_EQ(job.player().getCameraParameters(), String8());
    ASSERT_NO_FATAL_FAILURE(job.prepare());
    const auto expectSize = [&] {
        const CameraParameters params(job.player().getCameraParameters());
        int width = 0;
        int height = 0;
        params.getPreviewSize(&width, &height);
        EXPECT_EQ(width, 320);
        EXPECT_EQ(height, 240);
        EXPECT_NE(params.get(CameraParameters::KEY_SUPPORTED_PREVIEW_SIZES), nullptr);
    };
    expectSize();
    ASSERT_NO_FATAL_FAILURE(job.run());
    expectSize();
    job.cleanUp();
    EXPECT_EQ(job.player().getCameraParameters(), String8());
}

TEST_P(ClientQueryTest, aSnapshotNeedsARecorderThatTakesPictures) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    _CAMERA_SNAPSHOT_PARA snapshot = {};
    {
        LiveJob job(sourceOf(GetParam()));
        EXPECT_NE(job.player().getCameraSnapshot(&snapshot), OK);
    }
    EXPECT_DEATH(
            {
                LiveJob job(sourceOf(GetParam()));
                job.start();
                job.player().getCameraSnapshot(&snapshot);
            },
            "CHECK\\(response->findInt32\\(AMSG_PIXELFORMAT, &snapshot->format\\)\\) failed\\.");
}

INSTANTIATE_TEST_SUITE_P(Sources, ClientQueryTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "Hdmi" : "Usb"; });

}  // namespace
}  // namespace oxa::test
